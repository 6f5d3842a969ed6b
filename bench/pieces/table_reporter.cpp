#include "pieces/table_reporter.h"

#include <algorithm>
#include <cstdio>

#include "pieces/piece.h"

namespace bench {
namespace {

double Median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

}  // namespace

bool TableReporter::ReportContext(const Context&) { return true; }

void TableReporter::ReportRuns(const std::vector<Run>& runs) {
  for (const Run& run : runs) {
    if (run.run_type != Run::RT_Iteration) continue;
    const std::string& name = run.run_name.function_name;
    if (samples.find(name) == samples.end()) order.push_back(name);
    samples[name].push_back(run.GetAdjustedCPUTime());
  }
}

void TableReporter::Finalize() {
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

}  // namespace bench
