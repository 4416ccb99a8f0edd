// What all commands share in talking to the user: messages, progress, JSON output, the exit status, page numbers.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include <nlohmann/json.hpp>

using Json = nlohmann::ordered_json;

enum ExitStatus { kExitOk = 0, kExitRefused = 1, kExitUsage = 2 };

// One line on stderr; the exit status becomes kExitRefused.
void ReportFailure(const std::string& line);
void ReportWarning(const std::string& line);
int ExitStatusSoFar();

// One object on a line of its own.
void PrintJson(const Json& object);

// Text of the library's, which is not always UTF-8: bytes that are not are taken as Latin-1.
std::string PrintableText(const std::string& bytes);

// A line on stderr that shows how far long work has come, when stderr is a terminal. Nothing is shown in the first half
// second. Wiped out at the end.
class Progress {
public:
  explicit Progress(std::string label);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void Show(uint64_t done, uint64_t total); // total 0: not known

private:
  std::string label_;
  bool terminal_;
  bool shown_ = false;
  std::chrono::steady_clock::time_point next_;
};

// A --page argument: a number from 1, or "all".
struct PageChoice {
  int32_t page = 1;
  bool all = false;
};

PageChoice ParsePage(const std::string& text);       // of a text that the checks below have passed
std::string CheckPageOption(std::string& text);      // for CLI11: empty when it is a page number
std::string CheckPageOrAllOption(std::string& text); // likewise, "all" is accepted
