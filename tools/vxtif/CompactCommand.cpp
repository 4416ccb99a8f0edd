// vxtif compact: pages of one file into another, without dead space.

#include "Commands.h"

#include <memory>

#include "WriteArguments.h"
#include "toolkit/SavePage.h"

namespace {

struct CompactArguments {
  std::string source;
  std::string destination;
  int32_t first = 1;
  uint32_t count = 0;
  PlacementArguments placement;
};

void Run(const CompactArguments& arguments) {
  toolkit::CompactJob job;
  job.page = PageOptionsOf(arguments.placement);
  job.firstPage = arguments.first;
  job.pageCount = arguments.count;
  toolkit::CompactFile(arguments.source, arguments.destination, job);
}

} // namespace

void AddCompactCommand(CLI::App& app) {
  CLI::App* command = app.add_subcommand("compact", "Copy pages into another file, leaving dead space behind");
  const auto arguments = std::make_shared<CompactArguments>();
  command->add_option("SRC", arguments->source, "TIFF file")->required();
  command->add_option("DST", arguments->destination, "TIFF file")->required();
  command->add_option("--first", arguments->first, "first page to copy (1)")
      ->check(CLI::PositiveNumber)
      ->type_name("N");
  command->add_option("--count", arguments->count, "pages to copy (all)")->check(CLI::PositiveNumber)->type_name("N");
  AddPlacementOptions(command, arguments->placement);
  command->callback([arguments] { Run(*arguments); });
}
