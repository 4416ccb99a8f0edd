// fltLoad of fax pages that an independent tool wrote, called as a program.

#include <cstdlib>

#include <gtest/gtest.h>

#include "faxload/LoadHost.h"
#include "support/KernelGuard.h"

namespace {

TEST(FaxPageLoadOfTools, PagesOfTiffcpLoadBitForBit) {
  const KernelGuard guard;
  const TempFile plain;
  const TempFile coded;
  for (const PageKind kind : {PageKind::kText, PageKind::kNoise, PageKind::kRuns}) {
    const TestPage page = MakePage(kind, 1728, 70, 12);
    for (const uint16_t photometric : {uint16_t{0}, uint16_t{1}}) {
      TiffBuilder file;
      file.AddPage()
          .Long(256, {1728})
          .Long(257, {70})
          .Short(258, {1})
          .Short(259, {1})
          .Short(262, {photometric})
          .Strips({page.rows})
          .Long(278, {70})
          .Sort();
      plain.Write(file.Build());
      for (const char* options : {"-c g3:1d", "-c g3:1d:fill", "-c g3:2d", "-c g3:2d:fill -s -r 9", "-c g4", "-c g4 -B",
                                  "-c g4 -f lsb2msb", "-c g4 -t -w 128 -l 32", "-c g3:2d -B -s -r 9"}) {
        const std::string command =
            std::string("tiffcp ") + options + " '" + plain.Path().string() + "' '" + coded.Path().string() + "'";
        ASSERT_EQ(std::system(command.c_str()), 0) << command;
        LoadHost host(coded.Read(), 1728, 70);
        EXPECT_EQ(host.Load(), 1);
        EXPECT_TRUE(host.Holds(page)) << options << " photometric " << photometric;
      }
    }
  }
}

} // namespace
