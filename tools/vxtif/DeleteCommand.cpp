// vxtif delete: a page out of a file's chain.

#include "Commands.h"

#include <memory>

#include "toolkit/SavePage.h"

namespace {

struct DeleteArguments {
  std::string file;
  int32_t page = 0;
  bool keepPageNumbers = false;
};

} // namespace

void AddDeleteCommand(CLI::App& app) {
  CLI::App* command = app.add_subcommand("delete", "Take a page out of a file (vxtif compact gives the space back)");
  const auto arguments = std::make_shared<DeleteArguments>();
  command->add_option("FILE", arguments->file, "TIFF file")->required();
  command->add_option("--page", arguments->page, "page, from 1")
      ->required()
      ->check(CLI::PositiveNumber)
      ->type_name("N");
  command->add_flag("--keep-page-numbers", arguments->keepPageNumbers, "change no PageNumber tag");
  command->callback([arguments] { toolkit::DeletePage(arguments->file, arguments->page, arguments->keepPageNumbers); });
}
