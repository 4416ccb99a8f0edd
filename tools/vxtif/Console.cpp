// Messages, progress and JSON.

#include "Console.h"

#include <charconv>
#include <cstdio>
#include <iostream>
#include <optional>

#ifdef _WIN32
#include <io.h>
#else
#include <unistd.h>
#endif

namespace {

int exitStatus = kExitOk;

bool StderrIsTerminal() {
#ifdef _WIN32
  return _isatty(_fileno(stderr)) != 0;
#else
  return isatty(STDERR_FILENO) != 0;
#endif
}

bool IsUtf8(const std::string& text) {
  return Json(text).dump(-1, ' ', false, Json::error_handler_t::replace) ==
         Json(text).dump(-1, ' ', false, Json::error_handler_t::ignore);
}

std::optional<int32_t> NumberFrom1(const std::string& text) {
  int32_t number = 0;
  const auto parsed = std::from_chars(text.data(), text.data() + text.size(), number);
  if (parsed.ec != std::errc() || parsed.ptr != text.data() + text.size() || number < 1) {
    return std::nullopt;
  }
  return number;
}

} // namespace

void ReportFailure(const std::string& line) {
  std::cout.flush();
  std::cerr << "vxtif: " << line << "\n";
  exitStatus = kExitRefused;
}

void ReportWarning(const std::string& line) {
  std::cout.flush();
  std::cerr << "vxtif: warning: " << line << "\n";
}

int ExitStatusSoFar() {
  return exitStatus;
}

void PrintJson(const Json& object) {
  std::cout << object.dump(-1, ' ', false, Json::error_handler_t::replace) << "\n";
}

std::string PrintableText(const std::string& bytes) {
  if (IsUtf8(bytes)) {
    return bytes;
  }
  std::string text;
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x80) {
      text += c;
    } else {
      text += static_cast<char>(0xC0 | byte >> 6);
      text += static_cast<char>(0x80 | (byte & 0x3F));
    }
  }
  return text;
}

Progress::Progress(std::string label)
    : label_(std::move(label)), terminal_(StderrIsTerminal()),
      next_(std::chrono::steady_clock::now() + std::chrono::milliseconds(500)) {}

Progress::~Progress() {
  if (shown_) {
    std::cerr << "\r\033[K" << std::flush;
  }
}

void Progress::Show(uint64_t done, uint64_t total) {
  if (!terminal_) {
    return;
  }
  const auto now = std::chrono::steady_clock::now();
  if (now < next_) {
    return;
  }
  next_ = now + std::chrono::milliseconds(100);
  shown_ = true;
  std::cerr << "\r\033[K" << label_ << ": ";
  if (total != 0) {
    std::cerr << done * 100 / total << " %";
  } else {
    std::cerr << done;
  }
  std::cerr << std::flush;
}

PageChoice ParsePage(const std::string& text) {
  PageChoice choice;
  choice.all = text == "all";
  choice.page = NumberFrom1(text).value_or(1);
  return choice;
}

std::string CheckPageOption(std::string& text) {
  return NumberFrom1(text) ? "" : "'" + text + "' is no page number (they count from 1)";
}

std::string CheckPageOrAllOption(std::string& text) {
  return text == "all" ? "" : CheckPageOption(text);
}
