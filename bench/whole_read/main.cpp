// Whole reads through the shipped library against what they cannot be faster than; what the library
// costs while nothing is read; how long loading it takes. Writes Markdown.

#include <CLI/CLI.hpp>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <vector>

#include "host/run_folder.h"
#include "platform/clock.h"
#include "whole_read/figures.h"
#include "whole_read/floor.h"
#include "whole_read/host.h"

namespace bench {
namespace {

// Wine's wake-ups take longer than the kernel's.
#if defined(_WIN32)
constexpr double kLimitWithoutLatency = 1.20;
constexpr double kLimitWithLatency = 1.10;
// It counts time in the kernel and outside in steps of 10 ms each.
constexpr double kProcessorStepMs = 20;
#else
constexpr double kLimitWithoutLatency = 1.10;
constexpr double kLimitWithLatency = 1.05;
constexpr double kProcessorStepMs = 0;
#endif
constexpr double kLimitOfLogging = 1.03;
constexpr double kIdleLimitMs = 20;  // a minute
// Behind a read the library still looks after what it holds of the card.
constexpr std::uint32_t kAfterAReadMs = 4000;

constexpr std::uint32_t kPauseMs = 5;
constexpr int kPausesAGroup = 40;
// Reads with logging and without take turns in groups of so many, so that whatever else the machine
// does meets both.
constexpr int kGroup = 20;
constexpr int kLoads = 21;

class Report {
 public:
  explicit Report(const std::string& file) : stream(std::fopen(file.c_str(), "w")) {
    if (stream == nullptr) throw std::runtime_error(file + " cannot be written");
  }
  ~Report() { std::fclose(stream); }
  Report(const Report&) = delete;
  Report& operator=(const Report&) = delete;

  std::FILE* Stream() { return stream; }

  const char* Verdict(bool holds) {
    failed = failed || !holds;
    return holds ? "pass" : "FAIL";
  }
  bool Failed() const { return failed; }

 private:
  std::FILE* stream;
  bool failed = false;
};

double Since(std::chrono::steady_clock::time_point begin) {
  return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - begin)
      .count();
}

// The pause between two passes, alone.
class PauseMeter {
 public:
  void Measure(int pauses) {
    const auto begin = std::chrono::steady_clock::now();
    for (int i = 0; i < pauses; ++i) idcardreader::platform::SystemClock().Sleep(kPauseMs);
    total += Since(begin);
    count += pauses;
  }
  double Mean() const { return total / count; }

 private:
  double total = 0;
  int count = 0;
};

void MeasureReads(Host& host, Report& report, int latencyOfReport, int latencyOfExchange, int reads,
                  double limit) {
  host.SetLatencies(latencyOfReport, latencyOfExchange);
  PauseMeter pause;
  std::vector<double> times[2];
  for (int done = 0; done < reads; done += kGroup) {
    for (const int logging : {0, 1}) {
      host.Library().CloseComm();  // with its threads
      pause.Measure(kPausesAGroup);
      host.Library().readCardLog(logging);
      host.Read();  // makes what the others find: connection, login, log files
      for (int i = 0; i < kGroup; ++i) times[logging].push_back(host.Read());
    }
  }
  const double floor = Floor(
      {pause.Mean(), static_cast<double>(latencyOfReport), static_cast<double>(latencyOfExchange)});
  const Figures off = FiguresOf(times[0]);
  const Figures on = FiguresOf(times[1]);
  const double factor = off.median / floor;
  const double logCost = on.median / off.median;
  std::fprintf(report.Stream(),
               "| %d, %d | %.3f | %.1f | off | %.1f | %.1f | %.1f | %.3f × floor | %.2f | %s |\n",
               latencyOfReport, latencyOfExchange, pause.Mean(), floor, off.median, off.p95,
               off.maximum, factor, limit, report.Verdict(factor <= limit));
  std::fprintf(report.Stream(), "| | | | on | %.1f | %.1f | %.1f | %.3f × off | %.2f | %s |\n",
               on.median, on.p95, on.maximum, logCost, kLimitOfLogging,
               report.Verdict(logCost <= kLimitOfLogging));
}

void MeasureLoading(Host& host, Report& report) {
  const double first = host.Load();
  std::vector<double> again;
  again.reserve(kLoads);
  for (int i = 0; i < kLoads; ++i) again.push_back(host.Load());
  std::fprintf(report.Stream(),
               "| Loading until the first export has returned | %.2f ms, again %.2f ms |\n", first,
               FiguresOf(again).median);
}

void MeasureMemory(Host& host, Report& report, int reads) {
  int done = 0;
  for (int mark = 1; mark <= reads; mark *= mark == 1 ? 100 : 10) {
    for (; done < mark; ++done) host.Read();
    std::fprintf(report.Stream(), "| Memory after %d reads | %.1f MB |\n", mark, MemoryMegabytes());
  }
}

void MeasureIdle(Host& host, Report& report, int seconds) {
  idcardreader::platform::Clock& clock = idcardreader::platform::SystemClock();
  host.Read();
  clock.Sleep(kAfterAReadMs);
  const double before = ProcessorSeconds();
  clock.Sleep(static_cast<std::uint32_t>(seconds) * 1000);
  const double used = (ProcessorSeconds() - before) * 1000;
  const double minutes = seconds / 60.0;
  std::fprintf(report.Stream(),
               "| Processor time of a minute without a read, at most %.0f ms | %.1f ms, %s |\n",
               kIdleLimitMs, used / minutes,
               report.Verdict(used - kProcessorStepMs < kIdleLimitMs * minutes));
}

int Run(int argc, char** argv) {
  CLI::App app("Figures of the whole library.", "whole_read");
  std::string file = "whole_read.md";
  int reads = 200;
  int memoryReads = 1000;
  int idleSeconds = 60;
  app.add_option("--report", file, "is written: the figures as Markdown tables");
  app.add_option("--reads", reads, "reads of each kind that are timed");
  app.add_option("--memory-reads", memoryReads,
                 "reads until memory is looked at for the last time");
  app.add_option("--idle-seconds", idleSeconds, "how long the idle library is watched");
  RunningService running;
  std::string scenarioFile;
  auto* const port =
      app.add_option("--service-port", running.port,
                     "a decode service that runs; else there is one in this process");
  port->needs(app.add_option("--service-scenario", scenarioFile,
                             "its scenario file, which is written: the latencies"));
  CLI11_PARSE(app, argc, argv);
  running.scenarioFile = scenarioFile;

  Report report(file);
  Host host(running);
  std::fprintf(report.Stream(), "| | |\n|---|---:|\n");
  MeasureLoading(host, report);
  host.SetLatencies(0, 0);
  MeasureMemory(host, report, memoryReads);
  MeasureIdle(host, report, idleSeconds);

  std::fprintf(report.Stream(),
               "\n| Report, exchange | Pause | Floor | Log | Median | p95 | Maximum | Ratio | At "
               "most | |\n");
  std::fprintf(report.Stream(), "|---|---:|---:|---|---:|---:|---:|---:|---:|---|\n");
  MeasureReads(host, report, 0, 0, reads, kLimitWithoutLatency);
  MeasureReads(host, report, 1, 30, reads, kLimitWithLatency);
  return report.Failed() ? 1 : 0;
}

}  // namespace
}  // namespace bench

int main(int argc, char** argv) try {
  return bench::Run(argc, argv);
} catch (const std::exception& error) {
  std::fprintf(stderr, "whole_read: %s\n", error.what());
  return 2;
}
