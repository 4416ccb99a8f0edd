// The command-line tool: one command for each operation of the library.
// Exit status: 0 success, 1 the library refused (one line on stderr), 2 wrong usage.

#include <iostream>
#include <new>

#include "Commands.h"
#include "Console.h"
#include "toolkit/Failure.h"

namespace {

constexpr const char* kVersion = "vxtif " VXTIF_VERSION;

int RunCommandLine(int argc, char** argv) {
  CLI::App app("Reads, writes and edits TIFF files with the vxtif library.", "vxtif");
  app.require_subcommand(1);
  app.set_version_flag("--version", kVersion);
  app.get_formatter()->column_width(34);
  app.failure_message([](const CLI::App*, const CLI::Error& error) {
    return std::string("vxtif: ") + error.what() + "\nRun vxtif --help, or vxtif COMMAND --help.\n";
  });
  AddInfoCommand(app);
  AddLoadCommand(app);
  AddSaveCommand(app);
  AddPlanesCommand(app);
  AddStampCommand(app);
  AddDeleteCommand(app);
  AddCompactCommand(app);
  AddTagCommand(app);
  AddCommentCommand(app);
  AddGeoCommand(app);
  AddDumpCommand(app);
  AddFormatsCommand(app);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? kExitOk : kExitUsage;
  }
  return ExitStatusSoFar();
}

} // namespace

int main(int argc, char** argv) {
  try {
    const int status = RunCommandLine(argc, argv);
    std::cout.flush();
    if (!std::cout) {
      ReportFailure("standard output: write failed");
      return kExitRefused;
    }
    return status;
  } catch (const toolkit::Failure& failure) {
    ReportFailure(failure.what());
  } catch (const std::bad_alloc&) {
    ReportFailure("not enough memory");
  } catch (const std::exception& error) {
    ReportFailure(error.what());
  }
  return kExitRefused;
}
