// Google Benchmark's console output plus, at the end, each measurement as a ratio against a
// baseline measured in the same run, checked against its target:
//
//   int main(int argc, char** argv) {
//     return tarnwell::bench::runWithRatios(argc, argv, {
//         {"BM_JSONValueDecode", "BM_SimdjsonDomParse", 3.0}},
//         {{"BM_JSONValueEncode", 300e6}});
//   }
//
// A ratio over its target, or a throughput under its floor, is printed as MISSED and makes the
// program exit with status 1.
#pragma once

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>
#include <vector>

namespace tarnwell::bench {

struct Throughput {
  std::string measured;        // a benchmark that calls SetBytesProcessed
  double minBytesPerSecond;
};

struct Ratio {
  std::string measured;  // benchmark name (without arguments or "/real_time" suffixes)
  std::string baseline;
  double target;         // the highest acceptable measured / baseline time
};

class RatioReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.run_type == Run::RT_Iteration && !run.error_occurred) {
        // CPU time: the ratio should not move when another process shares the machine.
        timePerIteration_[run.benchmark_name()] = run.GetAdjustedCPUTime();
        if (auto rate = run.counters.find("bytes_per_second"); rate != run.counters.end()) {
          bytesPerSecond_[run.benchmark_name()] = rate->second.value;
        }
      }
    }
    ConsoleReporter::ReportRuns(runs);
  }

  // Prints every ratio; returns false when one misses its target or was not measured.
  bool reportRatios(const std::vector<Ratio>& ratios) const {
    bool allMet = true;
    std::printf("\n%-44s %-32s %8s %8s\n", "measured", "baseline", "ratio", "target");
    for (const Ratio& ratio : ratios) {
      const auto measured = timePerIteration_.find(ratio.measured);
      const auto baseline = timePerIteration_.find(ratio.baseline);
      if (measured == timePerIteration_.end() || baseline == timePerIteration_.end()) {
        continue;  // filtered out of this run
      }
      const double value = measured->second / baseline->second;
      const bool met = value <= ratio.target;
      allMet = allMet && met;
      std::printf("%-44s %-32s %8.2f %8.2f %s\n", ratio.measured.c_str(), ratio.baseline.c_str(), value,
                  ratio.target, met ? "met" : "MISSED");
    }
    return allMet;
  }

  bool reportThroughputs(const std::vector<Throughput>& floors) const {
    bool allMet = true;
    for (const Throughput& floor : floors) {
      const auto measured = bytesPerSecond_.find(floor.measured);
      if (measured == bytesPerSecond_.end()) {
        continue;
      }
      const bool met = measured->second >= floor.minBytesPerSecond;
      allMet = allMet && met;
      std::printf("%-44s %14.0f MB/s, floor %6.0f MB/s %s\n", floor.measured.c_str(), measured->second / 1e6,
                  floor.minBytesPerSecond / 1e6, met ? "met" : "MISSED");
    }
    return allMet;
  }

 private:
  std::map<std::string, double> timePerIteration_;
  std::map<std::string, double> bytesPerSecond_;
};

inline int runWithRatios(int argc, char** argv, const std::vector<Ratio>& ratios,
                         const std::vector<Throughput>& floors = {}) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
    return 2;
  }
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  const bool ratiosMet = reporter.reportRatios(ratios);
  const bool floorsMet = reporter.reportThroughputs(floors);
  return ratiosMet && floorsMet ? 0 : 1;
}

}  // namespace tarnwell::bench
