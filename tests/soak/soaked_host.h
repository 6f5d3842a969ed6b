#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "host/host_test.h"
#include "host/process_resources.h"
#include "soak/dice.h"

namespace soak {

// What came of the reads of one kind.
struct Tally {
  int reads = 0;
  int succeeded = 0;
  std::chrono::milliseconds longest{0};
};

// A host that reads one card after the other while reader, service and other threads do to it what
// the dice say, and that checks each read and what comes after it.
class SoakedHost : private hosttest::HostTest {
 public:
  SoakedHost(std::uint32_t seed, int percentOfFaults);
  ~SoakedHost() override;

  // The next read and, when it is disturbed, what belongs to it.
  void GoOn();

  int Reads() const { return reads; }
  int Loads() const { return loads; }
  const std::map<std::string, Tally>& Tallies() const { return tallies; }
  // How often reads failed with which status code; 0: with a text that is no code's.
  const std::map<int, int>& Codes() const { return codes; }
  // What did not hold, in words.
  const std::vector<std::string>& Complaints() const { return complaints; }

  // With everything given back, and again after a good read.
  struct Resources {
    hosttest::ProcessResources atRest;
    hosttest::ProcessResources inUse;
  };
  Resources Measure();

 private:
  struct Kind;
  static const std::vector<Kind>& Kinds();

  void TestBody() override {}

  void Perform(const Kind& kind);
  void Undisturbed();
  void ReaderFault();
  void ServiceFault();
  void DevkitScenario();
  void Stopped();
  void Closed();
  void ShutDown();
  void SecondCaller();
  void Unplugged();
  void UnreadableCard();
  void ServiceDown();
  void Reloaded();
  void LoadAnew();

  void PutGoodCard();
  void Disturb(const nlohmann::json& reader, const nlohmann::json& service);
  // Reads, with the right record or none.
  hosttest::ReadResult ReadEitherWay();
  void ReadAndFail();
  // `interruption` is called while another thread reads.
  void Interrupt(const std::function<void()>& interruption);
  hosttest::ReadResult Count(hosttest::ReadResult read);
  void CheckFailure();

  Dice dice;
  int percentOfFaults;
  std::vector<devkit::Card> goodCards;
  std::vector<devkit::Card> unreadableCards;
  std::vector<nlohmann::json> scenarios;
  std::vector<std::string> codeTexts;
  const devkit::Card* onReader = nullptr;
  bool recovering = true;  // the next read is to be a good one
  std::string story;       // what is done to the present read
  Tally* tally = nullptr;
  int reads = 0;
  int loads = 0;
  std::map<std::string, Tally> tallies;
  std::map<int, int> codes;
  std::vector<std::string> complaints;
};

}  // namespace soak
