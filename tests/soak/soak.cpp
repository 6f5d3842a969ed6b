// Thousands of reads in one process, disturbed by chance from a seed: each one is checked, and at
// the end what the process holds is compared with what it held after a warm-up.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <random>
#include <set>
#include <thread>

#include "fault/vocabulary.h"
#include "host/host_test.h"
#include "host/process_resources.h"

namespace hosttest {
namespace {

using nlohmann::json;
using Names = std::set<std::string_view>;

struct Options {
  int reads = 200;
  int faults = 20;
  std::uint32_t seed = 1;
} options;

constexpr int kWarmUp = 100;
// As many as one run should list.
constexpr int kFailureBound = 20;
// A read that nothing disturbs, on a busy machine.
constexpr milliseconds kBoundOfGoodRead(3000);
// The most that one fault can cost: a DN that is not answered twice, and a receive or a connect to
// two servers beside it.
constexpr milliseconds kBoundOfDisturbedRead(7000);

class Soak : public HostTest {
 protected:
  // The next read and, when it is disturbed, the good one behind it.
  void GoOn() {
    const int failuresBefore = Failures();
    story = "read " + std::to_string(reads);
    if (Between(1, 100) <= options.faults) {
      Put(true);
      const int kind = Between(1, 100);
      kind <= 74   ? Disturb(kind <= 37 ? devkit::Side::reader : devkit::Side::service)
      : kind <= 89 ? Interrupt()
                   : MakeImpossible();
      desk.Behave();
      ServiceBehaves();
    }
    Put(true);
    ReadWell();
    service->ForgetReceived();
    if (Failures() > failuresBefore) std::fprintf(stderr, "%s\n", story.c_str());
  }

  // With everything given back, and again after a good read.
  std::pair<ProcessResources, ProcessResources> Measure() {
    End();
    folder.RemoveLogs();
    std::this_thread::sleep_for(milliseconds(300));  // threads that are ending
    const ProcessResources atRest = MeasureProcess();
    StartService();
    Load();
    Put(true);
    ReadWell();
    return {atRest, MeasureProcess()};
  }

  static int Failures() {
    return testing::UnitTest::GetInstance()->current_test_info()->result()->total_part_count();
  }

  int reads = 0;

 private:
  // Chance from a seed, the same on every platform (which the distributions of <random> are not);
  // both bounds are included.
  int Between(int least, int most) {
    return least + static_cast<int>(generator() % static_cast<std::uint32_t>(most - least + 1));
  }
  template <typename Container>
  const auto& OneOf(const Container& container) {
    return container[generator() % container.size()];
  }

  json ChooseValue(const devkit::ParameterRule& rule) {
    if (!rule.words.empty()) return std::string(OneOf(rule.words));
    switch (rule.type) {
      case devkit::ParameterType::milliseconds:
        return Between(1, 10) == 1 ? Between(900, 2100) : Between(0, 30);
      case devkit::ParameterType::number:
        return Between(std::max(static_cast<int>(rule.least), -1),
                       std::min(static_cast<int>(rule.most), 30000));
      case devkit::ParameterType::hex: {
        std::string digits;
        for (int left = 128; left > 0; --left) digits += "0123456789ABCDEF"[Between(0, 15)];
        return digits;
      }
      default:
        return "x" + std::to_string(Between(0, 999));
    }
  }

  // One fault of that side by chance, out of all that the scenario language can say about a read.
  json ChooseFault(devkit::Side side) {
    // The rest belongs to searches, to UIDs and to the beeper.
    const Names outsideReads = {"search-on", "search-off", "uid", "uid-a", "beep", "notification"};
    // Each costs a time-out. Most of a soak should be reads.
    const Names takeTheirTime = {"drop", "late", "half", "unanswered", "wrong-echo"};
    for (;;) {
      const devkit::KindRule& kind = OneOf(devkit::Kinds(side));
      const std::string_view place = OneOf(kind.places);
      if (outsideReads.contains(place)) continue;
      if (takeTheirTime.contains(kind.name) && Between(1, 10) > 1) continue;
      json fault = {{"at", place}, {"fault", kind.name}, {"times", Between(1, 2)}};
      for (const devkit::ParameterRule& parameter : kind.parameters) {
        fault[std::string(parameter.name)] = ChooseValue(parameter);
      }
      return fault;
    }
  }

  void Put(bool goodCard) {
    do {
      onReader = &OneOf(Cards());
    } while (ExpectedToSucceed(*onReader) != goodCard);
    desk.Put(onReader->label);
    story += ", " + onReader->label;
  }

  void ReadWell() {
    const ReadResult read = Read();
    ++reads;
    EXPECT_LT(read.duration, kBoundOfGoodRead);
    EXPECT_EQ(read.result, 1) << LastError();
    if (read.result == 1) ExpectRecordOf(*onReader, *library);
  }

  // With the right record or none.
  int ReadEitherWay() {
    const ReadResult read = Read();
    ++reads;
    EXPECT_LT(read.duration, kBoundOfDisturbedRead);
    EXPECT_EQ(LastError().empty(), read.result == 1);
    read.result == 1 ? ExpectRecordOf(*onReader, *library) : ExpectNoRecord(*library);
    return read.result;
  }

  void Disturb(devkit::Side side) {
    const json fault = ChooseFault(side);
    story += " " + fault.dump();
    // What strikes while the reader is opened or the service logged in to does so once for many
    // reads.
    const std::string place = fault.at("at");
    if (Names{"enumerate", "open", "authorize", "version", "login"}.contains(place)) {
      library->CloseComm();
    }
    const json faults = {{"faults", json::array({fault})}};
    side == devkit::Side::reader ? desk.Misbehave(faults) : ServiceMisbehaves(faults);
    ReadEitherWay();
    if (side == devkit::Side::reader) {
      // What comes late shall lie there when the next read begins, not come in the middle of one.
      std::this_thread::sleep_for(milliseconds(fault.value("ms", -50) + 50));
    } else if (fault.at("fault") == "expired-token") {
      // Only the answer to a key tells the library so: the next read may be the one that learns it.
      ServiceBehaves();
      ReadEitherWay();
    }
  }

  void Interrupt() {
    const milliseconds after(Between(0, 150));
    const int how = Between(1, 5);
    story += " ended by " + std::to_string(how) + " after " + std::to_string(after.count()) + " ms";
    ServiceMisbehaves({{"latency", {{"exchange", std::max(Between(-40, 40), 0)}}}});
    std::future<ReadResult> reading = ReadInBackground();
    std::this_thread::sleep_for(after);
    how <= 3 ? library->readCardStop()
             : static_cast<void>(how == 4 ? library->CloseComm() : library->readCardDestory());
    const ReadResult read = Await(reading);
    ++reads;
    EXPECT_LT(read.duration, kBoundOfGoodRead);
    if (read.result == 0) {
      ExpectNoRecord(*library);
    } else if (library->GetNewCardType() != IDCARDREADER_CARD_NONE) {
      // It was too late to interrupt the read, and nothing has taken the record yet.
      ExpectFieldsOf(*onReader, *library);
    } else {
      ExpectNoFields(*library);
    }
  }

  // No reader, no service, no card or one that is not good.
  void MakeImpossible() {
    const int how = Between(1, 4);
    story += " impossible for cause " + std::to_string(how);
    if (how == 1) desk.Unplug();
    if (how == 2) StopService();
    if (how == 3) desk.TakeCardAway();
    if (how == 4) {
      Put(false);
      EXPECT_EQ(Read().result, 0);
      ExpectNoBlocks(*library);
      // The fields of a resident card without a photo, which say so, are all that it yields.
      onReader->IsIdentityCard() ? ExpectFieldsOf(*onReader, *library) : ExpectNoFields(*library);
      return;
    }
    EXPECT_EQ(ReadEitherWay(), 0);
    desk.Plug();
    if (how != 2) return;
    StartService();
    // The new service does not know the token of the old one, which the library learns by using it.
    Put(true);
    ReadEitherWay();
  }

  std::mt19937 generator{options.seed};
  const devkit::Card* onReader = nullptr;
  std::string story;  // what is done to the present read
};

// Heaps keep what they were given in pieces of their own size, and the system makes what it shares
// among threads when it is first needed.
void ExpectNoGrowth(const char* when, const ProcessResources& before,
                    const ProcessResources& after) {
  const struct {
    const char* what;
    std::int64_t before, after, bound;
  } rows[] = {{"allocated bytes", before.allocatedBytes, after.allocatedBytes, 64 * 1024},
              {"resident bytes", before.residentBytes, after.residentBytes, 8 * 1024 * 1024},
              {"handles", before.handles, after.handles, 4},
              {"threads", before.threads, after.threads, 0}};
  for (const auto& row : rows) {
    std::fprintf(stderr, "  %-8s %-16s %10lld -> %10lld\n", when, row.what,
                 static_cast<long long>(row.before), static_cast<long long>(row.after));
    EXPECT_LE(row.after, row.before + row.bound) << when << ": " << row.what;
  }
}

TEST_F(Soak, YieldsTheRightCardOrNoneAndHoldsNoMoreThanBefore) {
  library->readCardLog(0);
  while (reads < kWarmUp && Failures() < kFailureBound) GoOn();
  const auto before = Measure();
  while (reads < options.reads && Failures() < kFailureBound) GoOn();
  const auto after = Measure();
  std::fprintf(stderr, "%d reads, seed %u, %d %% disturbed\n", reads, options.seed, options.faults);
  ExpectNoGrowth("at rest", before.first, after.first);
  ExpectNoGrowth("in use", before.second, after.second);
}

// The standard output is the library's.
class Complaints : public testing::EmptyTestEventListener {
  void OnTestPartResult(const testing::TestPartResult& result) override {
    if (result.failed()) std::fprintf(stderr, "%s\n", result.message());
  }
};

}  // namespace
}  // namespace hosttest

int main(int argc, char** argv) {
  using hosttest::options;
  testing::InitGoogleTest(&argc, argv);
  testing::UnitTest::GetInstance()->listeners().Append(new hosttest::Complaints);
  CLI::App app("Reads cards for a long time while everything around goes wrong.", "soak");
  app.add_option("--reads", options.reads, "so many reads in all")->check(CLI::Range(1, 100000000));
  app.add_option("--faults", options.faults, "percentage of reads that are disturbed")
      ->check(CLI::Range(0, 100));
  app.add_option("--seed", options.seed, "decides everything but the threads' order");
  CLI11_PARSE(app, argc, argv);
  const int status = RUN_ALL_TESTS();
  std::fprintf(stderr, "%s\n", status == 0 ? "Everything held." : "FAILED");
  return status;
}
