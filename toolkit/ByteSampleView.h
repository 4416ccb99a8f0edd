// A page of 16-bit samples shown to the library as one of 8-bit samples, two for each.
//
// The library's load of chunky CMYK arrays steps over 16-bit samples twice as far as they stand apart and hands half of
// the pixels over; its callers count on that. Bytes it hands over exactly. So the page is described a second time, by a
// directory that stands behind the end of the file for the library's eyes only: the samples are halved in it and
// doubled in number, the strips are the same. Nothing is written.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace toolkit {

// Most samples of a page that can be shown so: the library takes 16 of them.
constexpr uint32_t kMaxHalvedSamples = 8;

class ByteSampleView {
public:
  // Of the page of so many samples whose directory stands at `directoryOffset`. Until the view is gone, whatever file
  // is opened is this one with the directory behind it. Throws Failure.
  ByteSampleView(const std::string& file, uint32_t directoryOffset, uint32_t samples, const char* operation);
  ~ByteSampleView();
  ByteSampleView(const ByteSampleView&) = delete;
  ByteSampleView& operator=(const ByteSampleView&) = delete;

  // Where the second description stands.
  uint32_t DirectoryOffset() const;
  // 0, or the pixels of a row over which the samples, put together again, are differences, each from the one before:
  // the width of the tiles, or UINT32_MAX for whole rows. The description does not say it.
  uint32_t DifferenceRun() const;

private:
  struct State;
  std::unique_ptr<State> state_;
};

} // namespace toolkit
