// vxtif formats: the tables of formats, compressions and sibling libraries.

#include "Commands.h"

#include <iomanip>
#include <iostream>
#include <memory>

#include "Console.h"
#include "toolkit/FormatTables.h"

namespace {

std::string SiblingName(int32_t row) {
  for (const toolkit::SiblingLibrary& sibling : toolkit::AllSiblings()) {
    if (sibling.row == row) {
      return sibling.library;
    }
  }
  return "";
}

void PrintTables() {
  std::cout << "Formats (number, name for --format, saved)\n";
  for (const toolkit::FormatRow& row : toolkit::AllFormats()) {
    const std::string by = row.siblingRow >= 0 ? ", by " + SiblingName(row.siblingRow) : "";
    std::cout << std::setw(5) << row.number << "  " << std::left << std::setw(15) << row.name << std::setw(5)
              << (row.saved ? "yes" : "no") << std::right << row.description << by << "\n";
  }
  std::cout << "\nCompressions (tag 259, name for --compression, loaded)\n";
  for (const toolkit::CompressionRow& row : toolkit::AllCompressions()) {
    const std::string loaded = row.loaded ? "yes" : row.siblingRow >= 0 ? "by " + SiblingName(row.siblingRow) : "no";
    std::cout << std::setw(7) << row.value << "  " << std::left << std::setw(13) << row.name << std::setw(15) << loaded
              << std::right << row.description << "\n";
  }
  std::cout << "\nSibling libraries (row, result when missing)\n";
  for (const toolkit::SiblingLibrary& row : toolkit::AllSiblings()) {
    std::cout << std::setw(5) << row.row << "  " << std::left << std::setw(12) << row.library << std::right
              << std::setw(5) << row.resultWhenMissing << "  " << (IsSiblingPresent(row) ? "present" : "missing")
              << "\n";
  }
}

void PrintTablesAsJson() {
  Json object = {{"formats", Json::array()}, {"compressions", Json::array()}, {"siblings", Json::array()}};
  for (const toolkit::FormatRow& row : toolkit::AllFormats()) {
    object["formats"].push_back({{"fileFormat", row.number},
                                 {"name", row.name},
                                 {"description", row.description},
                                 {"saved", row.saved},
                                 {"siblingRow", row.siblingRow}});
  }
  for (const toolkit::CompressionRow& row : toolkit::AllCompressions()) {
    object["compressions"].push_back({{"compression", row.value},
                                      {"name", row.name},
                                      {"description", row.description},
                                      {"loaded", row.loaded},
                                      {"siblingRow", row.siblingRow}});
  }
  for (const toolkit::SiblingLibrary& row : toolkit::AllSiblings()) {
    object["siblings"].push_back({{"row", row.row},
                                  {"library", row.library},
                                  {"present", IsSiblingPresent(row)},
                                  {"resultWhenMissing", row.resultWhenMissing}});
  }
  PrintJson(object);
}

} // namespace

void AddFormatsCommand(CLI::App& app) {
  CLI::App* command = app.add_subcommand("formats", "Show the tables of formats, compressions and sibling libraries");
  const auto json = std::make_shared<bool>(false);
  command->add_flag("--json", *json, "one JSON object");
  command->callback([json] { *json ? PrintTablesAsJson() : PrintTables(); });
}
