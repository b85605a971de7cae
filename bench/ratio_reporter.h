// Google Benchmark's console output plus, at the end, each measurement as a ratio against a
// baseline measured in the same run, checked against its target:
//
//   int main(int argc, char** argv) {
//     return tarnwell::bench::runWithRatios(argc, argv, {
//         {"BM_JSONValueDecode", "BM_SimdjsonDomParse", 3.0}},
//         {{"BM_JSONValueEncode", 300e6}});
//   }
//
// Each benchmark runs nine times, interleaved with the others (unless the command line says
// otherwise), and the ratios compare medians. A ratio over its target, or a throughput under its floor, is printed as
// MISSED and makes the program exit with status 1.
#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace tarnwell::bench {

struct Throughput {
  std::string measured;  // a benchmark that calls SetBytesProcessed
  double minBytesPerSecond;
};

struct Ratio {
  std::string measured;  // the full benchmark name, arguments and "/real_time" included
  std::string baseline;
  double target;  // the highest acceptable measured / baseline time; 0 only reports it
};

class RatioReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.run_type == Run::RT_Iteration && !run.error_occurred) {
        // CPU time unless the benchmark waits on I/O ("/real_time"): then only wall time
        // says anything. CPU time keeps the ratio steady when another process shares the machine.
        const std::string name = run.benchmark_name();
        timesPerIteration_[name].push_back(name.ends_with("/real_time") ? run.GetAdjustedRealTime()
                                                                        : run.GetAdjustedCPUTime());
        if (auto rate = run.counters.find("bytes_per_second"); rate != run.counters.end()) {
          bytesPerSecond_[name].push_back(rate->second.value);
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
      const auto measured = timesPerIteration_.find(ratio.measured);
      const auto baseline = timesPerIteration_.find(ratio.baseline);
      if (measured == timesPerIteration_.end() || baseline == timesPerIteration_.end()) {
        continue;  // filtered out of this run
      }
      const double value = median(measured->second) / median(baseline->second);
      if (ratio.target <= 0) {
        std::printf("%-44s %-32s %8.2f %8s\n", ratio.measured.c_str(), ratio.baseline.c_str(), value, "-");
        continue;
      }
      const bool met = value <= ratio.target;
      allMet = allMet && met;
      std::printf("%-44s %-32s %8.2f %8.2f %s\n", ratio.measured.c_str(), ratio.baseline.c_str(), value, ratio.target,
                  met ? "met" : "MISSED");
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
      const double rate = median(measured->second);
      const bool met = rate >= floor.minBytesPerSecond;
      allMet = allMet && met;
      std::printf("%-44s %14.0f MB/s, floor %6.0f MB/s %s\n", floor.measured.c_str(), rate / 1e6,
                  floor.minBytesPerSecond / 1e6, met ? "met" : "MISSED");
    }
    return allMet;
  }

 private:
  static double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
  }

  // Every repetition's value; ratios compare medians, which a passing disturbance does not move.
  std::map<std::string, std::vector<double>> timesPerIteration_;
  std::map<std::string, std::vector<double>> bytesPerSecond_;
};

inline int runWithRatios(int argc, char** argv, const std::vector<Ratio>& ratios,
                         const std::vector<Throughput>& floors = {}) {
  // Nine repetitions, interleaved at random, so a passing disturbance of the machine (a build,
  // a disk flush) hits measurement and baseline alike and leaves the medians alone. Flags given
  // on the command line still win, as they come later.
  std::vector<char*> arguments(argv, argv + argc);
  std::string interleave = "--benchmark_enable_random_interleaving=true";
  std::string repetitions = "--benchmark_repetitions=9";
  arguments.insert(arguments.begin() + 1, {interleave.data(), repetitions.data()});
  argc = static_cast<int>(arguments.size());
  argv = arguments.data();
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
