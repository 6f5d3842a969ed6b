#pragma once

#include <benchmark/benchmark.h>

#include <map>
#include <string>
#include <vector>

namespace bench {

// Collects the processor times of all contenders and sets each peer against us in the end.
class TableReporter : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context& context) override;
  void ReportRuns(const std::vector<Run>& runs) override;
  void Finalize() override;

  // True when our cipher was slower than its peer.
  bool Slower() const { return slower; }

 private:
  std::vector<std::string> order;                      // of the contenders
  std::map<std::string, std::vector<double>> samples;  // in nanoseconds
  bool slower = false;
};

}  // namespace bench
