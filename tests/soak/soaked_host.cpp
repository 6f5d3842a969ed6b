#include "soak/soaked_host.h"

#include <gtest/gtest-spi.h>

#include <algorithm>
#include <filesystem>
#include <thread>

#include "base/json_file.h"
#include "soak/fault_choice.h"

namespace soak {
namespace {

using hosttest::ReadResult;
using nlohmann::json;
using std::chrono::milliseconds;

// A read that nothing disturbs, on a busy machine.
constexpr milliseconds kBoundOfGoodRead(3000);
// The most that one fault can cost: a DN that is not answered twice, and a receive or a connect to
// two servers beside it.
constexpr milliseconds kBoundOfDisturbedRead(7000);
constexpr int kLastCode = 56;

template <typename Visit>
void VisitFiles(const char* folder, Visit visit) {
  std::vector<std::filesystem::path> files;
  for (const auto& entry :
       std::filesystem::directory_iterator(hosttest::SourceFolder() / "devkit" / folder)) {
    files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());  // the same choice by the same seed
  for (const auto& file : files) visit(file);
}

}  // namespace

struct SoakedHost::Kind {
  const char* name;
  int weight;
  void (SoakedHost::*perform)();
};

const std::vector<SoakedHost::Kind>& SoakedHost::Kinds() {
  static const std::vector<Kind> kinds = {
      {"undisturbed", 0, &SoakedHost::Undisturbed},
      {"fault of the reader", 34, &SoakedHost::ReaderFault},
      {"fault of the service", 34, &SoakedHost::ServiceFault},
      {"scenario of the devkit", 6, &SoakedHost::DevkitScenario},
      {"stopped by another thread", 9, &SoakedHost::Stopped},
      {"closed by another thread", 3, &SoakedHost::Closed},
      {"shut down by another thread", 3, &SoakedHost::ShutDown},
      {"two callers at once", 3, &SoakedHost::SecondCaller},
      {"unplugged", 3, &SoakedHost::Unplugged},
      {"no card, or not a good one", 3, &SoakedHost::UnreadableCard},
      {"service down", 1, &SoakedHost::ServiceDown},
      {"library loaded anew", 1, &SoakedHost::Reloaded}};
  return kinds;
}

SoakedHost::SoakedHost(std::uint32_t seed, int percentOfFaults)
    : dice(seed), percentOfFaults(percentOfFaults) {
  VisitFiles("cards", [this](const std::filesystem::path& file) {
    devkit::Card card = devkit::ReadCardFile(file);
    card.label = file.stem().string();
    (hosttest::ExpectedToSucceed(card) ? goodCards : unreadableCards).push_back(std::move(card));
  });
  VisitFiles("scenarios", [this](const std::filesystem::path& file) {
    json scenario = devkit::ReadJsonFile(file);
    scenario["name"] = file.stem().string();
    scenarios.push_back(std::move(scenario));
  });
  SetUp();
  library->readCardLog(0);
  for (int code = 0; code <= kLastCode; ++code) {
    codeTexts.push_back(library->readCardErrorInfo(code));
  }
}

SoakedHost::~SoakedHost() { TearDown(); }

void SoakedHost::GoOn() {
  if (recovering || !dice.Percent(percentOfFaults)) {
    recovering = false;
    Perform(Kinds().front());
    return;
  }
  int left = dice.Between(1, 100);
  for (const Kind& kind : Kinds()) {
    left -= kind.weight;
    if (left > 0) continue;
    Perform(kind);
    break;
  }
  desk.Behave();
  ServiceBehaves();
  recovering = true;
}

void SoakedHost::Perform(const Kind& kind) {
  const std::string storyBefore = std::move(story);
  story = kind.name;
  tally = &tallies[kind.name];
  testing::TestPartResultArray results;
  {
    using Reporter = testing::ScopedFakeTestPartResultReporter;
    const Reporter reporter(Reporter::INTERCEPT_ALL_THREADS, &results);
    (this->*kind.perform)();
  }
  service->ForgetReceived();
  for (int i = 0; i < results.size(); ++i) {
    complaints.push_back("read " + std::to_string(reads) + ", " + story + " (before: " +
                         storyBefore + "): " + results.GetTestPartResult(i).message());
  }
}

void SoakedHost::PutGoodCard() {
  onReader = &dice.Of(goodCards);
  desk.Put(onReader->label);
}

void SoakedHost::Disturb(const json& reader, const json& service) {
  story += " " + json({{"card", onReader->label}, {"reader", reader}, {"service", service}}).dump();
  desk.Misbehave(reader);
  ServiceMisbehaves(service);
}

ReadResult SoakedHost::Count(ReadResult read) {
  ++reads;
  ++tally->reads;
  tally->succeeded += read.result;
  tally->longest = std::max(tally->longest, read.duration);
  return read;
}

void SoakedHost::CheckFailure() {
  const std::string text = LastError();
  EXPECT_NE(text, "");
  int code = 0;
  for (int candidate = 1; candidate <= kLastCode; ++candidate) {
    const std::string& own = codeTexts[static_cast<std::size_t>(candidate)];
    if (!own.empty() && text.starts_with(own)) code = candidate;
  }
  ++codes[code];
  hosttest::ExpectNoRecord(*library);
}

void SoakedHost::Undisturbed() {
  PutGoodCard();
  story += " " + onReader->label;
  const ReadResult read = Count(Read());
  EXPECT_EQ(read.result, 1) << LastError();
  EXPECT_LT(read.duration, kBoundOfGoodRead);
  if (read.result == 1) hosttest::ExpectRecordOf(*onReader, *library);
}

ReadResult SoakedHost::ReadEitherWay() {
  const ReadResult read = Count(Read());
  EXPECT_LT(read.duration, kBoundOfDisturbedRead);
  if (read.result == 1) {
    hosttest::ExpectRecordOf(*onReader, *library);
  } else {
    CheckFailure();
  }
  return read;
}

void SoakedHost::ReadAndFail() {
  const ReadResult read = Count(Read());
  EXPECT_EQ(read.result, 0);
  EXPECT_LT(read.duration, kBoundOfDisturbedRead);
  CheckFailure();
}

void SoakedHost::ReaderFault() {
  PutGoodCard();
  const json fault = ChooseFault(devkit::Side::reader, dice);
  if (StrikesAtStart(fault)) library->CloseComm();
  Disturb({{"faults", json::array({fault})}}, json::object());
  ReadEitherWay();
  // What comes late shall lie there when the next read begins, not come in the middle of one.
  if (fault.contains("ms"))
    std::this_thread::sleep_for(milliseconds(fault.at("ms").get<int>() + 50));
}

void SoakedHost::ServiceFault() {
  PutGoodCard();
  const json fault = ChooseFault(devkit::Side::service, dice);
  if (StrikesAtStart(fault)) library->CloseComm();
  Disturb(json::object(), {{"faults", json::array({fault})}});
  ReadEitherWay();
  if (fault.at("fault") == "expired-token") {
    // Only the answer to a key tells the library so: the next read may be the one that learns it.
    ServiceBehaves();
    ReadEitherWay();
  }
}

void SoakedHost::DevkitScenario() {
  PutGoodCard();
  const json& scenario = dice.Of(scenarios);
  // It may strike where a reader is opened or a service logged in to.
  library->CloseComm();
  story += " " + scenario.at("name").get<std::string>();
  Disturb(scenario.value("reader", json::object()), scenario.value("service", json::object()));
  for (int left = scenario.value("goodReadsBefore", 0); left > 0; --left) {
    EXPECT_EQ(Count(Read()).result, 1) << LastError();
  }
  ReadAndFail();
  EXPECT_TRUE(LastError().starts_with(codeTexts.at(scenario.at("code").get<std::size_t>())));
}

void SoakedHost::Interrupt(const std::function<void()>& interruption) {
  PutGoodCard();
  const milliseconds after(dice.Between(0, 150));
  const int latency = dice.Percent(50) ? 0 : dice.Between(1, 40);
  story += " after " + std::to_string(after.count()) + " ms";
  Disturb(json::object(), {{"latency", {{"exchange", latency}}}});
  std::future<ReadResult> reading = ReadInBackground();
  std::this_thread::sleep_for(after);
  interruption();
  const bool ended = reading.wait_for(std::chrono::seconds(10)) == std::future_status::ready;
  EXPECT_TRUE(ended) << "the read is not released";
  if (!ended) library->readCardStop();
  const ReadResult read = Count(reading.get());
  EXPECT_LT(read.duration, kBoundOfGoodRead);
  if (read.result == 0) {
    hosttest::ExpectNoRecord(*library);
  } else if (library->GetNewCardType() != IDCARDREADER_CARD_NONE) {
    // It was too late to interrupt the read, and nothing has taken the record yet.
    hosttest::ExpectFieldsOf(*onReader, *library);
  } else {
    hosttest::ExpectNoFields(*library);
  }
}

void SoakedHost::Stopped() {
  Interrupt([this] { library->readCardStop(); });
}

void SoakedHost::Closed() {
  Interrupt([this] { library->CloseComm(); });
}

void SoakedHost::ShutDown() {
  Interrupt([this] { library->readCardDestory(); });
}

void SoakedHost::SecondCaller() {
  PutGoodCard();
  std::future<ReadResult> one = ReadInBackground();
  std::future<ReadResult> other = ReadInBackground();
  const int succeeded = Count(one.get()).result + Count(other.get()).result;
  EXPECT_GE(succeeded, 1) << LastError();
  if (succeeded > 0) hosttest::ExpectFieldsOf(*onReader, *library);
}

void SoakedHost::Unplugged() {
  PutGoodCard();
  desk.Unplug();
  const int failing = dice.Between(1, 3);
  story += " for " + std::to_string(failing) + " reads";
  for (int left = failing; left > 0; --left) ReadAndFail();
  desk.Plug();
}

void SoakedHost::UnreadableCard() {
  if (dice.Percent(50)) {
    desk.TakeCardAway();
    ReadAndFail();
    return;
  }
  const devkit::Card& card = dice.Of(unreadableCards);
  story += " " + card.label;
  desk.Put(card.label);
  const ReadResult read = Count(Read());
  EXPECT_EQ(read.result, 0);
  EXPECT_LT(read.duration, kBoundOfDisturbedRead);
  hosttest::ExpectNoBlocks(*library);
  if (card.IsIdentityCard()) {
    // A resident card without a photo: the fields, which say so, are all that it yields.
    hosttest::ExpectFieldsOf(card, *library);
  } else {
    hosttest::ExpectNoFields(*library);
  }
}

void SoakedHost::ServiceDown() {
  PutGoodCard();
  StopService();
  ReadAndFail();
  StartService();
  // The new service does not know the token of the old one, which the library learns by using it.
  PutGoodCard();
  ReadEitherWay();
}

void SoakedHost::Reloaded() {
  library->CloseComm();
  Unload();
  folder.RemoveLogs();
  LoadAnew();
  Undisturbed();
}

void SoakedHost::LoadAnew() {
  Load();
  ++loads;
  library->readCardLog(0);
}

SoakedHost::Resources SoakedHost::Measure() {
  library->CloseComm();
  Unload();
  StopService();
  folder.RemoveLogs();
  std::this_thread::sleep_for(milliseconds(300));  // threads that are ending
  Resources resources;
  resources.atRest = hosttest::MeasureProcess();
  StartService();
  LoadAnew();
  recovering = true;
  Perform(Kinds().front());
  resources.inUse = hosttest::MeasureProcess();
  return resources;
}

}  // namespace soak
