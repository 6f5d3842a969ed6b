// Whole reads through the shipped library against what they cannot be faster than; what the library
// costs while nothing is read; how long loading it takes. Writes Markdown.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <stdexcept>
#include <vector>

#include "host/host.h"
#include "host/process_resources.h"
#include "platform/clock.h"

#if defined(_WIN32)
#include <windows.h>
#else
#include <sys/resource.h>
#endif

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

// Of this process, by the system's own account.
#if defined(_WIN32)
double ProcessorSeconds() {
  FILETIME begin{};
  FILETIME end{};
  FILETIME kernel{};
  FILETIME user{};
  GetProcessTimes(GetCurrentProcess(), &begin, &end, &kernel, &user);
  const auto seconds = [](const FILETIME& time) {
    return (static_cast<double>(time.dwHighDateTime) * 4294967296.0 + time.dwLowDateTime) * 1e-7;
  };
  return seconds(kernel) + seconds(user);
}
#else
double ProcessorSeconds() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
  };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}
#endif

// Sixty bytes of a file a report.
constexpr int ReportsOf(int fileLength) { return (fileLength + 59) / 60; }

// The connection: one exchange after the other, in the order in which the read thread posts them.
class Service {
 public:
  explicit Service(double exchange) : exchange(exchange) {}
  void Post(double now) { answered = std::max(answered, now) + exchange; }
  double Answered() const { return answered; }

 private:
  double exchange;
  double answered = 0;
};

// In milliseconds.
struct Pace {
  double pause = 0;     // the read thread's, between two passes
  double report = 0;    // from the reader; each answer is one, a file as many as it needs
  double exchange = 0;  // from a message's way out to its answer's
};

// The shortest time that a read can take when reads follow each other, in milliseconds: the longest
// chain of what has to wait for each other, with nothing that takes longer than it must. Computed
// from the order of the tasks alone.
double Floor(const Pace& pace) {
  Service service(pace.exchange);
  // The caller reads the DN meanwhile: the pass that has woken it (53 of the read before) is followed
  // by its pause.
  double now = std::max(pace.pause, pace.report);
  service.Post(now);  // 3, heartbeat
  now += pace.pause;
  service.Post(now);  // 5, DN
  // 12: the input key has come, the reader answers it.
  now = std::max(now + pace.pause, service.Answered()) + pace.report;
  now += pace.pause;
  service.Post(now);  // 6, the reader's answer
  // 13: the output key has come, the reader answers it.
  now = std::max(now + pace.pause, service.Answered()) + pace.report;
  // 7 to 11: each posts the file that the one before has read, and reads the next.
  now += pace.pause;
  for (const int fileLength : {214, 256, 1024, 1024}) {
    now += ReportsOf(fileLength) * pace.report + pace.pause;
    service.Post(now);
  }
  // 53: the content has come.
  return std::max(now + pace.pause, service.Answered());
}

double Since(std::chrono::steady_clock::time_point begin) {
  return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - begin)
      .count();
}

struct Figures {
  explicit Figures(std::vector<double> samples) {
    std::sort(samples.begin(), samples.end());
    median = samples[samples.size() / 2];
    p95 = samples[samples.size() * 95 / 100];
    maximum = samples.back();
  }
  double median;
  double p95;
  double maximum;
};

// A host that reads one card, with a service of its own or with one that runs already and looks at a
// scenario file of ours.
class Host : public hosttest::Host {
 public:
  Host(std::uint16_t port, const std::string& scenario) : scenarioFile(scenario) {
    servicePort = port;
    serviceOptions.rememberedMessages = 0;
    if (port == 0) StartService();
    WriteDataFiles();
    desk.Put(kCard);
  }
  ~Host() { End(); }

  // Milliseconds that each report of the reader and each exchange with the service take.
  void SetLatencies(int report, int exchange) {
    desk.Misbehave({{"latency", {{"report", report}}}});
    const nlohmann::json section = {{"latency", {{"exchange", exchange}}}};
    if (service) {
      ServiceMisbehaves(section);
    } else {  // read when the next read connects
      std::ofstream(scenarioFile) << nlohmann::json({{"service", section}});
    }
  }

  // One whole read: milliseconds until the export returned. Throws when it fails or somebody else's
  // card comes out.
  double ReadCard() const {
    const hosttest::ReadResult read = ReadHere();
    if (read.result != 1) throw std::runtime_error("a read failed: " + LastError());
    if (library->GetPeopleIDCode() != CardOf(kCard).Field("id")) {
      throw std::runtime_error("another card was read");
    }
    return static_cast<double>(read.duration.count()) / 1000;
  }

  // Loading the library until its first export has returned, in milliseconds. The library in use is
  // closed and unloaded before it.
  double LoadAnew() {
    if (library != nullptr) library->CloseComm();
    Unload();
    const auto begin = std::chrono::steady_clock::now();
    Load();
    library->readCardGetSdkVersion();
    return Since(begin);
  }

 private:
  static constexpr char kCard[] = "sample";
  std::string scenarioFile;
};

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
      host.library->CloseComm();  // with its threads
      pause.Measure(kPausesAGroup);
      host.library->readCardLog(logging);
      host.ReadCard();  // makes what the others find: connection, login, log files
      for (int i = 0; i < kGroup; ++i) times[logging].push_back(host.ReadCard());
    }
  }
  const double floor = Floor(
      {pause.Mean(), static_cast<double>(latencyOfReport), static_cast<double>(latencyOfExchange)});
  const Figures off(times[0]);
  const Figures on(times[1]);
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
  const double first = host.LoadAnew();
  std::vector<double> again;
  again.reserve(kLoads);
  for (int i = 0; i < kLoads; ++i) again.push_back(host.LoadAnew());
  std::fprintf(report.Stream(),
               "| Loading until the first export has returned | %.2f ms, again %.2f ms |\n", first,
               Figures(again).median);
}

void MeasureMemory(Host& host, Report& report, int reads) {
  int done = 0;
  for (int mark = 1; mark <= reads; mark *= mark == 1 ? 100 : 10) {
    for (; done < mark; ++done) host.ReadCard();
    std::fprintf(report.Stream(), "| Memory after %d reads | %.1f MB |\n", mark,
                 static_cast<double>(hosttest::MeasureProcess().residentBytes) / (1024 * 1024));
  }
}

void MeasureIdle(Host& host, Report& report, int seconds) {
  idcardreader::platform::Clock& clock = idcardreader::platform::SystemClock();
  host.ReadCard();
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
  std::uint16_t servicePort = 0;
  std::string scenarioFile;
  auto* const port =
      app.add_option("--service-port", servicePort,
                     "a decode service that runs; else there is one in this process");
  port->needs(app.add_option("--service-scenario", scenarioFile,
                             "its scenario file, which is written: the latencies"));
  CLI11_PARSE(app, argc, argv);

  Report report(file);
  Host host(servicePort, scenarioFile);
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
