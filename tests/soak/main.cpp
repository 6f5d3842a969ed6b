// Thousands of reads in one process, disturbed by chance from a seed: each one is checked, and at
// the end what the process holds is compared with what it held after a warm-up.

#include <CLI/CLI.hpp>
#include <chrono>
#include <cstdio>
#include <exception>
#include <fstream>
#include <nlohmann/json.hpp>
#include <string>

#include "soak/soaked_host.h"

namespace soak {
namespace {

using Clock = std::chrono::steady_clock;
using nlohmann::json;

#if defined(_WIN32)
constexpr char kPlatform[] = "windows";
#else
constexpr char kPlatform[] = "linux";
#endif

// How much more than after the warm-up is no growth. Heaps keep what they were given in pieces of
// their own size, and the system makes what it shares among threads when it is first needed.
constexpr std::int64_t kAllocatedBound = 64 * 1024;
constexpr std::int64_t kResidentBound = 8 * 1024 * 1024;
constexpr int kHandleBound = 4;
constexpr int kThreadBound = 0;

// As many as one run should list.
constexpr std::size_t kComplaintBound = 20;

struct Options {
  int reads = 200;
  int faults = 20;
  std::uint32_t seed = 1;
  int warmUp = 100;
  int progressSeconds = 0;  // 0: a line for each tenth
  std::string jsonFile;
};

double Seconds(Clock::duration duration) { return std::chrono::duration<double>(duration).count(); }

class Progress {
 public:
  explicit Progress(const Options& options) : options(options) {}

  void Tell(const SoakedHost& host) {
    for (; toldComplaints < host.Complaints().size(); ++toldComplaints) {
      std::fprintf(stderr, "%s\n", host.Complaints()[toldComplaints].c_str());
    }
    const int tenth = host.Reads() * 10 / options.reads;
    const bool due = options.progressSeconds > 0
                         ? Clock::now() - told >= std::chrono::seconds(options.progressSeconds)
                         : tenth > toldTenth;
    if (!due) return;
    told = Clock::now();
    toldTenth = tenth;
    std::fprintf(stderr, "%s: %d of %d reads, %zu complaints\n", kPlatform, host.Reads(),
                 options.reads, host.Complaints().size());
  }

 private:
  const Options& options;
  Clock::time_point told = Clock::now();
  int toldTenth = 0;
  std::size_t toldComplaints = 0;
};

// Compares two measurements line by line, for people and for programs.
class Comparison {
 public:
  void Add(const char* when, const hosttest::ProcessResources& before,
           const hosttest::ProcessResources& after) {
    Line(when, "allocated bytes", before.allocatedBytes, after.allocatedBytes, kAllocatedBound);
    Line(when, "resident bytes", before.residentBytes, after.residentBytes, kResidentBound);
    Line(when, "handles", before.handles, after.handles, kHandleBound);
    Line(when, "threads", before.threads, after.threads, kThreadBound);
  }

  bool Holds() const { return holds; }
  const json& Document() const { return document; }

 private:
  void Line(const char* when, const char* what, std::int64_t before, std::int64_t after,
            std::int64_t bound) {
    const bool grown = after - before > bound;
    holds = holds && !grown;
    document[when][what] = {{"before", before}, {"after", after}, {"bound", bound}};
    std::fprintf(stderr, "  %-9s %-16s %10lld -> %10lld  (at most %+lld)%s\n", when, what,
                 static_cast<long long>(before), static_cast<long long>(after),
                 static_cast<long long>(bound), grown ? "  GROWN" : "");
  }

  bool holds = true;
  json document = json::object();
};

int Run(const Options& options) {
  const auto begin = Clock::now();
  SoakedHost host(options.seed, options.faults);
  Progress progress(options);
  while (host.Reads() < options.warmUp) host.GoOn();
  const SoakedHost::Resources before = host.Measure();
  while (host.Reads() < options.reads && host.Complaints().size() < kComplaintBound) {
    host.GoOn();
    progress.Tell(host);
  }
  const SoakedHost::Resources after = host.Measure();
  const double seconds = Seconds(Clock::now() - begin);

  json document = {{"platform", kPlatform},    {"loads", host.Loads()}, {"seed", options.seed},
                   {"faults", options.faults}, {"reads", host.Reads()}, {"warmUp", options.warmUp},
                   {"seconds", seconds}};
  std::fprintf(stderr, "\n%s: %d reads in %.0f s, seed %u, %d %% disturbed\n", kPlatform,
               host.Reads(), seconds, options.seed, options.faults);
  std::fprintf(stderr, "  %-28s %7s %10s %11s\n", "", "reads", "succeeded", "longest ms");
  for (const auto& [name, tally] : host.Tallies()) {
    const auto longest = static_cast<long long>(tally.longest.count());
    std::fprintf(stderr, "  %-28s %7d %10d %11lld\n", name.c_str(), tally.reads, tally.succeeded,
                 longest);
    document["kinds"][name] = {
        {"reads", tally.reads}, {"succeeded", tally.succeeded}, {"longestMs", longest}};
  }
  std::fprintf(stderr, "  failures by code (0: a text without one):");
  for (const auto& [code, count] : host.Codes()) {
    std::fprintf(stderr, " %d: %d;", code, count);
    document["codes"][std::to_string(code)] = count;
  }
  std::fprintf(stderr, "\n");
  Comparison resources;
  resources.Add("at rest", before.atRest, after.atRest);
  resources.Add("in use", before.inUse, after.inUse);
  const bool held = resources.Holds() && host.Complaints().empty();
  std::fprintf(stderr, "%s\n", held ? "Everything held." : "FAILED");

  document["resources"] = resources.Document();
  document["complaints"] = host.Complaints();
  document["ok"] = held;
  if (!options.jsonFile.empty()) {
    std::ofstream(options.jsonFile)
        << document.dump(-1, ' ', true, json::error_handler_t::replace) << "\n";
  }
  return held ? 0 : 1;
}

}  // namespace
}  // namespace soak

int main(int argc, char** argv) try {
  CLI::App app("Reads cards for a long time while everything around goes wrong.", "soak");
  soak::Options options;
  app.add_option("--reads", options.reads, "so many reads in all")->check(CLI::Range(1, 100000000));
  app.add_option("--faults", options.faults, "percentage of reads that are disturbed")
      ->check(CLI::Range(0, 100));
  app.add_option("--seed", options.seed, "decides everything but the threads' order");
  app.add_option("--warm-up", options.warmUp, "reads before resources are first looked at");
  app.add_option("--progress-seconds", options.progressSeconds,
                 "tell after so many seconds, not after each tenth");
  app.add_option("--json", options.jsonFile, "a file that gets the result");
  CLI11_PARSE(app, argc, argv);
  return soak::Run(options);
} catch (const std::exception& error) {
  std::fprintf(stderr, "soak: %s\n", error.what());
  return 2;
}
