// Our pieces side by side with those of others, in one run: a table on standard output, in
// Markdown. The options are Google Benchmark's; --check only compares the results.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <exception>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "pieces/piece.h"

namespace bench {
namespace {

double Median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

// Collects the processor times of all contenders and sets each peer against us in the end.
class TableReporter : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context&) override { return true; }

  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.run_type != Run::RT_Iteration) continue;
      const std::string& name = run.run_name.function_name;
      if (samples.find(name) == samples.end()) order.push_back(name);
      samples[name].push_back(run.GetAdjustedCPUTime());
    }
  }

  void Finalize() override {
    std::puts("| Piece | Ours, ns | Peer | Peer, ns | Ours / peer | At most 1 |");
    std::puts("|---|---:|---|---:|---:|---|");
    for (const std::string& name : order) {
      const std::size_t slash = name.rfind('/');
      const std::string piece = name.substr(0, slash);
      const std::string contender = name.substr(slash + 1);
      const auto ours = samples.find(piece + "/" + kOurs);
      if (contender == kOurs || ours == samples.end()) continue;
      const double ourTime = Median(ours->second);
      const double theirTime = Median(samples[name]);
      // The cipher has to be as fast as its peer; the other peers show what a piece could cost.
      const bool cipher = piece.find("cipher") != std::string::npos;
      const bool asFast = ourTime <= theirTime;
      slower = slower || (cipher && !asFast);
      std::printf("| %s | %.0f | %s | %.0f | %.2f | %s |\n", piece.c_str(), ourTime,
                  contender.c_str(), theirTime, ourTime / theirTime,
                  !cipher  ? ""
                  : asFast ? "pass"
                           : "FAIL");
    }
  }

  // True when our cipher was slower than its peer.
  bool Slower() const { return slower; }

 private:
  std::vector<std::string> order;                      // of the contenders
  std::map<std::string, std::vector<double>> samples;  // in nanoseconds
  bool slower = false;
};

}  // namespace
}  // namespace bench

int main(int argc, char** argv) try {
  bench::AddCipherPieces();
  bench::AddContentPieces();
  bench::AddGbkPieces();
  if (argc == 2 && std::string_view(argv[1]) == "--check") {
    std::puts("The results of all contenders are the same.");
    return 0;
  }

  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
  bench::TableReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  return reporter.Slower() ? 1 : 0;
} catch (const std::exception& error) {
  std::fprintf(stderr, "pieces: %s\n", error.what());
  return 1;
}
