// local stand-in
