// Two programs on one machine, each with its own reader: what the library names stays in its
// process.

#include <algorithm>
#include <cstdlib>

#include "host/child_process.h"
#include "host/host_test.h"

namespace hosttest {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;

constexpr std::size_t kReads = 10;
constexpr char kCardOfTheOther[] = "yjznew";

class ProcessesTest : public HostTest {};

// The other has a folder with a program, a library and a reader of its own, on whose desk a card
// lies.
TEST_F(ProcessesTest, ReadAtTheSameTimeAndDoNotDisturbEachOther) {
  CopyReadcard();
  const fs::path other = folder.Path() / "other";
  fs::create_directory(other);
  for (const auto& entry : fs::directory_iterator(folder.Path())) {
    if (entry.is_regular_file()) fs::copy_file(entry.path(), other / entry.path().filename());
  }
  const fs::path card = SourceFolder() / "devkit" / "cards" / kCardOfTheOther;
  const json content = {{"card", card.generic_string() + ".json"}};
  folder.WriteFile("other/virtual-reader.json", content.dump());

  const std::string dn = devkit::ToHex(CardOf(kCardOfTheOther).dn);
  std::future<ChildResult> running = std::async(std::launch::async, [&other] {
    return RunProgram(other.string(), "readcard", "--json --repeat " + std::to_string(kReads));
  });
  // Between the other's first message and its last.
  std::size_t met = 0;
  const auto ofTheOther = [&] {
    const auto received = service->Received();
    return std::count_if(received.begin(), received.end(),
                         [](const auto& message) { return message.card == kCardOfTheOther; });
  };
  do {
    const auto before = ofTheOther();
    ExpectGoodRead(kAnyCard);
    if (before > 0 && ofTheOther() > before) ++met;
  } while (running.wait_for(milliseconds(0)) != std::future_status::ready);
  EXPECT_GT(met, 0u) << "the two have not met";
  const ChildResult child = running.get();
  EXPECT_EQ(child.status, 0) << child.errors;
  std::size_t found = 0;
  for (std::size_t at = 0; (at = child.output.find(dn, at)) != std::string::npos; ++at) ++found;
  EXPECT_EQ(found, kReads) << child.output;
  fs::remove_all(other);
}

void ExpectGoodExits(int count) {
  const std::string library = RunFolder::Get().Library().string();
  for (int round = 0; round < count; ++round) {
    const ChildResult child = RunProgram(HOST_PROGRAMS, "exiting_host", library);
    ASSERT_EQ(child.status, 0) << round << " " << child.errors;
  }
}

TEST(ProcessExit, TakesNothingFromThreadsThatStillCall) {
#ifdef _WIN32
  ExpectGoodExits(8);
#else
  ExpectGoodExits(60);
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
  // A library that is loaded before the program begins is ended in another order.
  setenv("LD_PRELOAD", RunFolder::Get().Library().c_str(), 1);
  ExpectGoodExits(60);
  unsetenv("LD_PRELOAD");
#endif
#endif
}

}  // namespace
}  // namespace hosttest
