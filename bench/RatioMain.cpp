// Runs the benchmarks and prints them as a table of ratios. A benchmark is named "what/input/side": sides that share
// the rest of their name stand in one line, the side "vxtif" against each of the others ("libtiff", "read", "cp"). A
// ratio above 1 says that vxtif is faster.

#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

namespace {

struct Line {
  std::map<std::string, double> nanoseconds; // by side, the median of the repetitions where there are any
};

// Keeps the console's own output and gathers the times beside it.
class RatioReporter : public benchmark::ConsoleReporter {
public:
  RatioReporter() : ConsoleReporter(OO_Tabular) {}

  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
      const bool median = run.run_type == Run::RT_Aggregate && run.aggregate_name == "median";
      if (run.error_occurred || (run.repetitions > 1 && !median)) {
        continue;
      }
      std::string name = run.run_name.function_name;
      const size_t slash = name.rfind('/');
      if (slash == std::string::npos) {
        continue;
      }
      const std::string key = name.substr(0, slash);
      if (!lines_.contains(key)) {
        order_.push_back(key);
      }
      lines_[key].nanoseconds[name.substr(slash + 1)] =
          run.GetAdjustedRealTime() / benchmark::GetTimeUnitMultiplier(run.time_unit) * 1e9;
    }
  }

  void PrintTable() const {
    std::printf("\n%-44s %12s %12s %8s  %s\n", "work", "vxtif us", "peer us", "ratio", "peer");
    for (const std::string& key : order_) {
      const auto& times = lines_.at(key).nanoseconds;
      const auto own = times.find("vxtif");
      for (const auto& [side, time] : times) {
        if (side == "vxtif" || own == times.end()) {
          continue;
        }
        std::printf("%-44s %12.1f %12.1f %8.2f  %s\n", key.c_str(), own->second / 1e3, time / 1e3, time / own->second,
                    side.c_str());
      }
    }
  }

private:
  std::map<std::string, Line> lines_;
  std::vector<std::string> order_;
};

} // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
    return 2;
  }
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  reporter.PrintTable();
  return 0;
}
