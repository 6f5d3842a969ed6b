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

// Chance from a seed, the same on every platform (which the distributions of <random> are not).
class Dice {
 public:
  // From least to most, both included.
  int Between(int least, int most) {
    return least + static_cast<int>(generator() % static_cast<std::uint32_t>(most - least + 1));
  }
  bool Percent(int chance) { return Between(1, 100) <= chance; }
  template <typename Container>
  const auto& Of(const Container& container) {
    return container[generator() % container.size()];
  }

 private:
  std::mt19937 generator{options.seed};
};

json ChooseValue(const devkit::ParameterRule& rule, Dice& dice) {
  if (!rule.words.empty()) return std::string(dice.Of(rule.words));
  switch (rule.type) {
    case devkit::ParameterType::milliseconds:
      return dice.Percent(10) ? dice.Between(900, 2100) : dice.Between(0, 30);
    case devkit::ParameterType::number:
      return dice.Between(std::max(static_cast<int>(rule.least), -1),
                          std::min(static_cast<int>(rule.most), 30000));
    case devkit::ParameterType::hex: {
      std::string digits;
      for (int left = 128; left > 0; --left) digits += "0123456789ABCDEF"[dice.Between(0, 15)];
      return digits;
    }
    default:
      return "x" + std::to_string(dice.Between(0, 999));
  }
}

// One fault of that side by chance, out of all that the scenario language can say about a read.
json ChooseFault(devkit::Side side, Dice& dice) {
  // The rest belongs to searches, to UIDs and to the beeper.
  const Names outsideReads = {"search-on", "search-off", "uid", "uid-a", "beep", "notification"};
  // Each costs a time-out. Most of a soak should be reads.
  const Names takeTheirTime = {"drop", "late", "half", "unanswered", "wrong-echo"};
  for (;;) {
    const devkit::KindRule& kind = dice.Of(devkit::Kinds(side));
    const std::string_view place = dice.Of(kind.places);
    if (outsideReads.contains(place)) continue;
    if (takeTheirTime.contains(kind.name) && !dice.Percent(10)) continue;
    json fault = {{"at", std::string(place)},
                  {"fault", std::string(kind.name)},
                  {"times", dice.Between(1, 2)}};
    for (const devkit::ParameterRule& parameter : kind.parameters) {
      fault[std::string(parameter.name)] = ChooseValue(parameter, dice);
    }
    return fault;
  }
}

class Soak : public HostTest {
 protected:
  // The next read and, when it is disturbed, the good one behind it.
  void GoOn() {
    struct Kind {
      int weight;
      const char* name;
      void (Soak::*perform)();
    };
    static constexpr Kind kKinds[] = {{37, "fault of the reader", &Soak::ReaderFault},
                                      {37, "fault of the service", &Soak::ServiceFault},
                                      {15, "interrupted by another thread", &Soak::Interrupted},
                                      {3, "two callers at once", &Soak::SecondCaller},
                                      {3, "unplugged", &Soak::Unplugged},
                                      {3, "no card, or not a good one", &Soak::UnreadableCard},
                                      {2, "service down", &Soak::ServiceDown}};
    const int failuresBefore = Failures();
    story = "read " + std::to_string(reads) + ", undisturbed";
    if (dice.Percent(options.faults)) {
      const Kind* kind = kKinds;
      for (int left = dice.Between(1, 100); left > kind->weight; ++kind) left -= kind->weight;
      story = "read " + std::to_string(reads) + ", " + kind->name;
      Put(true);
      (this->*kind->perform)();
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
    library->CloseComm();
    Unload();
    StopService();
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
  void Put(bool goodCard) {
    do {
      onReader = &dice.Of(Cards());
    } while (ExpectedToSucceed(*onReader) != goodCard);
    desk.Put(onReader->label);
    story += ", " + onReader->label;
  }

  void Disturb(const json& reader, const json& service) {
    story += " " + json({{"reader", reader}, {"service", service}}).dump();
    desk.Misbehave(reader);
    ServiceMisbehaves(service);
  }

  ReadResult ReadWithin(milliseconds bound) {
    const ReadResult read = Read();
    ++reads;
    EXPECT_LT(read.duration, bound);
    return read;
  }

  void ReadWell() {
    const ReadResult read = ReadWithin(kBoundOfGoodRead);
    EXPECT_EQ(read.result, 1) << LastError();
    if (read.result == 1) ExpectRecordOf(*onReader, *library);
  }

  // With the right record or none.
  int ReadEitherWay() {
    const int result = ReadWithin(kBoundOfDisturbedRead).result;
    EXPECT_EQ(LastError().empty(), result == 1);
    result == 1 ? ExpectRecordOf(*onReader, *library) : ExpectNoRecord(*library);
    return result;
  }

  void ReadAndFail() { EXPECT_EQ(ReadEitherWay(), 0); }

  json Fault(devkit::Side side) {
    const json fault = ChooseFault(side, dice);
    // What strikes while the reader is opened or the service logged in to does so once for many
    // reads.
    const std::string place = fault.at("at");
    if (Names{"enumerate", "open", "authorize", "version", "login"}.contains(place)) {
      library->CloseComm();
    }
    const json faults = {{"faults", json::array({fault})}};
    side == devkit::Side::reader ? Disturb(faults, json::object())
                                 : Disturb(json::object(), faults);
    ReadEitherWay();
    return fault;
  }

  void ReaderFault() {
    const json fault = Fault(devkit::Side::reader);
    // What comes late shall lie there when the next read begins, not come in the middle of one.
    std::this_thread::sleep_for(milliseconds(fault.value("ms", -50) + 50));
  }

  void ServiceFault() {
    if (Fault(devkit::Side::service).at("fault") == "expired-token") {
      // Only the answer to a key tells the library so: the next read may be the one that learns it.
      ServiceBehaves();
      ReadEitherWay();
    }
  }

  void Interrupted() {
    using L = ShippedLibrary;
    const milliseconds after(dice.Between(0, 150));
    const int latency = dice.Percent(50) ? 0 : dice.Between(1, 40);
    const int how = dice.Between(1, 5);
    story += " by " + std::to_string(how) + " after " + std::to_string(after.count()) + " ms";
    Disturb(json::object(), {{"latency", {{"exchange", latency}}}});
    std::future<ReadResult> reading = ReadInBackground();
    std::this_thread::sleep_for(after);
    if (how <= 3) {
      library->readCardStop();
    } else {
      (library.get()->*(how == 4 ? &L::CloseComm : &L::readCardDestory))();
    }
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

  void SecondCaller() {
    std::future<ReadResult> one = ReadInBackground();
    std::future<ReadResult> other = ReadInBackground();
    EXPECT_GE(Await(one).result + Await(other).result, 1) << LastError();
    reads += 2;
    ExpectFieldsOf(*onReader, *library);
  }

  void Unplugged() {
    desk.Unplug();
    for (int left = dice.Between(1, 3); left > 0; --left) ReadAndFail();
    desk.Plug();
  }

  void UnreadableCard() {
    if (dice.Percent(50)) {
      desk.TakeCardAway();
      return ReadAndFail();
    }
    Put(false);
    EXPECT_EQ(ReadWithin(kBoundOfDisturbedRead).result, 0);
    ExpectNoBlocks(*library);
    // The fields of a resident card without a photo, which say so, are all that it yields.
    onReader->IsIdentityCard() ? ExpectFieldsOf(*onReader, *library) : ExpectNoFields(*library);
  }

  void ServiceDown() {
    StopService();
    ReadAndFail();
    StartService();
    // The new service does not know the token of the old one, which the library learns by using it.
    Put(true);
    ReadEitherWay();
  }

  Dice dice;
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
