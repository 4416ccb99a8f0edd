// vxtif comment: numbered comments of a page.

#include "Commands.h"

#include <iomanip>
#include <iostream>
#include <memory>

#include "Console.h"
#include "RecordJson.h"
#include "WriteArguments.h"
#include "toolkit/CommentTable.h"
#include "toolkit/CommentText.h"
#include "toolkit/Failure.h"
#include "toolkit/PageMetadata.h"
#include "toolkit/RawDirectories.h"
#include "toolkit/TagNames.h"

#include <vxtif/comments.h>
#include <vxtif/results.h>

namespace {

constexpr size_t kShownCharacters = 100;

constexpr const char* kForms =
    "Values:\n"
    "  text          as it stands; @FILE takes a file's bytes\n"
    "  numbers       100 or, where there are several, 100,200\n"
    "  fractions     1/125, 0.008, -1/3; FNumber also f/2.8, lengths and times with mm, m, s\n"
    "  dates         2024-01-31 23:59:59, 2024-01-31T23:59:59 or 2024:01:31 23:59:59;\n"
    "                IPTC times need their zone: 23:59:59+01:00; GPSTimeStamp is UTC: 12:34:56.25\n"
    "  positions     48.8584N, -33.5, 48 51 30.24 N, 48\xC2\xB0"
    "51'30.24\"N, 48/1,51/1,3024/100;\n"
    "                a letter or a sign sets the reference as well\n"
    "  altitudes     35.5, 35.5m, -12 (which sets the reference as well)\n"
    "  blocks        numbers, x and hexadecimal digits, \"text\", or @FILE";

struct CommentArguments {
  std::string file;
  std::string comment;
  std::vector<std::string> settings;
  int32_t page = 1;
  bool json = false;
};

std::string CheckComment(std::string& text) {
  const bool number = !text.empty() && text.find_first_not_of("0123456789") == std::string::npos && text.size() < 10;
  return number || toolkit::FindComment(std::string_view(text)) != nullptr
             ? ""
             : "'" + text + "' is neither a comment's number nor its name";
}

const char* HomeName(toolkit::CommentHome home) {
  switch (home) {
  case toolkit::CommentHome::kPage:
    return "page";
  case toolkit::CommentHome::kExif:
    return "Exif";
  case toolkit::CommentHome::kGps:
    return "GPS";
  default:
    return "IPTC";
  }
}

toolkit::TypedValue ValueOf(const toolkit::CommentRow& row, const std::vector<uint8_t>& bytes) {
  const uint32_t size = toolkit::ElementSize(row.type);
  return {row.type, static_cast<uint32_t>(bytes.size() / size), bytes};
}

// The value of a comment, or nothing when it is not there or cannot be read.
std::optional<std::vector<uint8_t>> Look(const CommentArguments& arguments, uint32_t number) {
  try {
    return toolkit::GetComment(arguments.file, arguments.page, number);
  } catch (const toolkit::Failure&) {
    return std::nullopt;
  }
}

// The hemisphere that goes with a position; empty when the page tells none.
std::string ReferenceText(const CommentArguments& arguments, const toolkit::CommentRow& row) {
  const std::optional<uint32_t> reference = toolkit::ReferenceOf(row);
  const auto bytes = reference ? Look(arguments, *reference) : std::nullopt;
  return bytes ? toolkit::FormatComment(*toolkit::FindComment(*reference), *bytes, "", 0) : "";
}

std::string TextOf(const CommentArguments& arguments, const toolkit::CommentRow& row, const std::vector<uint8_t>& bytes,
                   size_t most) {
  return PrintableText(toolkit::FormatComment(row, bytes, ReferenceText(arguments, row), most));
}

// The values of a repeatable comment are set apart by the byte 1.
Json JsonOfTexts(const toolkit::TypedValue& value) {
  const std::string all = JsonOfValue(value);
  Json list = Json::array();
  for (size_t at = 0; at <= all.size();) {
    const size_t end = std::min(all.find('\1', at), all.size());
    list.push_back(all.substr(at, end - at));
    at = end + 1;
  }
  return list.size() == 1 ? list[0] : list;
}

Json JsonOfComment(const CommentArguments& arguments, const toolkit::CommentRow& row,
                   const std::vector<uint8_t>& bytes) {
  const toolkit::TypedValue value = ValueOf(row, bytes);
  Json object = {{"comment", row.number}, {"name", row.name},   {"home", HomeName(row.home)},
                 {"size", bytes.size()},  {"type", value.type}, {"count", value.count}};
  object["value"] = row.repeatable ? JsonOfTexts(value) : JsonOfValue(value);
  if (toolkit::HasWrittenForm(row)) {
    object["text"] = TextOf(arguments, row, bytes, 0);
  }
  return object;
}

void GetOne(const CommentArguments& arguments) {
  const toolkit::CommentRow* row = toolkit::FindComment(std::string_view(arguments.comment));
  // A number that is not in use goes to the library all the same: it tells so.
  const uint32_t number = row != nullptr ? row->number : static_cast<uint32_t>(std::stoul(arguments.comment));
  const auto bytes = toolkit::GetComment(arguments.file, arguments.page, number);
  if (!bytes || row == nullptr) {
    throw toolkit::Failure(arguments.file, "comment get", kResultRefused, "the page has no such comment");
  }
  if (arguments.json) {
    Json object = {{"file", arguments.file}};
    object.update(JsonOfComment(arguments, *row, *bytes));
    PrintJson(object);
  } else {
    std::cout << TextOf(arguments, *row, *bytes, 0) << "\n";
  }
}

// Comments that could not be read, told in one line: a damaged page would have one for each of two hundred.
class Unreadable {
public:
  void Add(uint32_t number, int32_t code) {
    if (numbers_.empty()) {
      code_ = code;
    }
    numbers_.push_back(number);
  }
  void Report(const std::string& file) const {
    if (numbers_.size() == 1) {
      ReportFailure(toolkit::Failure(file, "comment " + std::to_string(numbers_[0]), code_).what());
    } else if (!numbers_.empty()) {
      const std::string count = std::to_string(numbers_.size()) + " comments, the first of them ";
      ReportFailure(toolkit::Failure(file, "comment list", code_, count + std::to_string(numbers_[0])).what());
    }
  }

private:
  std::vector<uint32_t> numbers_;
  int32_t code_ = kResultOk; // of the first
};

void List(const CommentArguments& arguments) {
  Unreadable unreadable;
  Json object = {{"file", arguments.file}, {"pageNumber", arguments.page}, {"comments", Json::array()}};
  for (const toolkit::CommentRow& row : toolkit::AllComments()) {
    std::optional<std::vector<uint8_t>> bytes;
    try {
      bytes = toolkit::GetComment(arguments.file, arguments.page, row.number);
    } catch (const toolkit::Failure& failure) {
      // One value of a wrong type, or that is not there, does not hide the others.
      if (failure.code != kResultTypeNotAllowed && failure.code != kResultReadFailed) {
        throw;
      }
      unreadable.Add(row.number, failure.code);
    }
    if (bytes && arguments.json) {
      object["comments"].push_back(JsonOfComment(arguments, row, *bytes));
    } else if (bytes) {
      std::cout << std::setw(5) << row.number << "  " << std::left << std::setw(30) << row.name << std::setw(6)
                << HomeName(row.home) << std::setw(10) << toolkit::TypeName(row.type) << std::right
                << TextOf(arguments, row, *bytes, kShownCharacters) << "\n";
    }
  }
  if (arguments.json) {
    PrintJson(object);
  }
  unreadable.Report(arguments.file);
}

std::string WithoutEndingNuls(const std::vector<uint8_t>& bytes) {
  std::string text(bytes.begin(), bytes.end());
  text.erase(text.find_last_not_of('\0') + 1);
  return text;
}

// The library passes over what a page cannot take, without a word: Exif on a page without an Exif directory, the
// versions. The user is told.
void WarnOfWhatWasNotTaken(const CommentArguments& arguments, const std::vector<toolkit::NumberedValue>& values) {
  for (const toolkit::NumberedValue& value : values) {
    const toolkit::CommentRow& row = *toolkit::FindComment(uint32_t{value.number});
    if (row.repeatable || row.number == kCommentMakerNote) {
      continue; // held together with others, or in a form of its own
    }
    const auto bytes = Look(arguments, row.number);
    if (!bytes || WithoutEndingNuls(*bytes) != WithoutEndingNuls(value.value.bytes)) {
      ReportWarning(arguments.file + ": comment set: the page has not taken " + std::string(row.name) +
                    (bytes ? ", which is " + TextOf(arguments, row, *bytes, kShownCharacters) : ""));
    }
  }
}

void Set(const CommentArguments& arguments) {
  const std::vector<toolkit::NumberedValue> values = ParseCommentSettings(arguments.settings);
  toolkit::SetComments(arguments.file, arguments.page, values);
  WarnOfWhatWasNotTaken(arguments, values);
}

void AddPage(CLI::App* command, CommentArguments& arguments) {
  command->add_option("FILE", arguments.file, "TIFF file")->required();
  command->add_option("--page", arguments.page, "page, from 1")->check(CLI::PositiveNumber)->type_name("N");
}

} // namespace

void AddCommentCommand(CLI::App& app) {
  CLI::App* command = app.add_subcommand("comment", "Read and set comments: texts, Exif, GPS and IPTC values");
  command->require_subcommand(1);
  const auto arguments = std::make_shared<CommentArguments>();

  CLI::App* get = command->add_subcommand("get", "Print one comment");
  AddPage(get, *arguments);
  get->add_option("COMMENT", arguments->comment, "number or name")->required()->check(CLI::Validator(CheckComment, ""));
  get->add_flag("--json", arguments->json, "one JSON object");
  get->callback([arguments] { GetOne(*arguments); });

  CLI::App* set = command->add_subcommand("set", "Set comments in place");
  AddPage(set, *arguments);
  set->add_option("SETTINGS", arguments->settings,
                  "as Artist=text or ExposureTime=1/125; the same comment again adds a further value to a repeatable "
                  "one")
      ->required()
      ->type_name("C=V");
  set->callback([arguments] { Set(*arguments); });
  set->footer(kForms);

  CLI::App* list = command->add_subcommand("list", "List the comments of a page");
  AddPage(list, *arguments);
  list->add_flag("--json", arguments->json, "one JSON object");
  list->callback([arguments] { List(*arguments); });
}
