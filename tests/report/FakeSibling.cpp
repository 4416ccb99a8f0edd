// A stand-in for a sibling library: its fltInfo opens the stream that it is given under any name, notes what it saw and
// gives the result that the test has chosen.

#include "report/FakeSibling.h"

extern "C" VX_API int32_t fltInfo(FilterInfoRequest* request);

int32_t fltInfo(FilterInfoRequest* request) {
  uint8_t* mailbox = request->fileInfo->fileLayer;
  mailbox[kFakeRows + mailbox[kFakeCalls]++] = FAKE_ROW;
  mailbox[kFakePageNumber] = static_cast<uint8_t>(request->fileOptions->pageNumber);
  if (FAKE_ROW < 5) {
    const VxFileHandle stream = krnFileOpen(u"a name that does not matter", kKrnFileRead, kKrnShareRead);
    krnFileRead(stream, &mailbox[kFakeFirstByte], 1);
    mailbox[kFakeStreamSize] = static_cast<uint8_t>(krnFileSeek(stream, 0, kKrnSeekEnd));
    krnFileClose(stream);
    request->fileInfo->width = 4711;
  }
  return static_cast<int8_t>(mailbox[kFakeResults + FAKE_ROW]);
}
