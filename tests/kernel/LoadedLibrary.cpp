// A library for the loader's tests: one function that says which library it is, and one that counts.

extern "C" __attribute__((visibility("default"))) const char* LoadedName();
extern "C" __attribute__((visibility("default"))) int LoadedCount();

const char* LoadedName() {
  return LOADED_NAME;
}

// Starts from 1 again when the library has been unloaded in between.
int LoadedCount() {
  static int count = 0;
  return ++count;
}
