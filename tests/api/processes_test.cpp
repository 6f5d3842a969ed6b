// Two programs on one machine, each with its own reader: what the library names stays in its
// process.

#include <cstdlib>
#include <optional>

#include "host/child_process.h"
#include "host/host_test.h"

namespace hosttest {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;

constexpr int kReads = 10;
constexpr char kCardOfTheOther[] = "yjznew";

class ProcessesTest : public HostTest {
 protected:
  // A second folder with a program, a library and a reader of its own, on whose desk a card lies.
  fs::path MakeOther() const {
    CopyReadcard();
    const fs::path other = folder.Path() / "other";
    fs::create_directory(other);
    for (const auto& entry : fs::directory_iterator(folder.Path())) {
      if (entry.is_regular_file()) fs::copy_file(entry.path(), other / entry.path().filename());
    }
    const fs::path card = SourceFolder() / "devkit" / "cards" / kCardOfTheOther;
    const json content = {{"card", card.generic_string() + ".json"}};
    folder.WriteFile("other/virtual-reader.json", content.dump());
    return other;
  }
};

TEST_F(ProcessesTest, ReadAtTheSameTimeAndDoNotDisturbEachOther) {
  const fs::path other = MakeOther();
  std::future<ChildResult> running = std::async(std::launch::async, [&other] {
    return RunProgram(other.string(), "readcard", "--json --repeat " + std::to_string(kReads));
  });
  int own = 0;
  do {
    ExpectGoodRead(kAnyCard);
    ++own;
  } while (running.wait_for(milliseconds(0)) != std::future_status::ready);
  EXPECT_GT(own, kReads / 2) << "the two have hardly met";
  const ChildResult child = running.get();
  EXPECT_EQ(child.status, 0) << child.errors;
  const std::string dn = devkit::ToHex(CardOf(kCardOfTheOther).dn);
  std::size_t found = 0;
  for (std::size_t at = 0; (at = child.output.find(dn, at)) != std::string::npos; ++at) ++found;
  EXPECT_EQ(found, static_cast<std::size_t>(kReads)) << child.output;
  fs::remove_all(other);
}

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kLoadsEarly = false;  // the sanitizer's own library has to be the first
#else
constexpr bool kLoadsEarly = true;
#endif

// Keeps a variable of the environment for programs started meanwhile.
class Preloaded {
 public:
  explicit Preloaded([[maybe_unused]] const fs::path& library) {
#ifndef _WIN32
    setenv("LD_PRELOAD", library.c_str(), 1);
#endif
  }
  ~Preloaded() {
#ifndef _WIN32
    unsetenv("LD_PRELOAD");
#endif
  }
};

#ifdef _WIN32
constexpr int kExits = 8;
#else
constexpr int kExits = 60;
#endif

TEST(ProcessExit, TakesNothingFromThreadsThatStillCall) {
  const std::string library = RunFolder::Get().Library().string();
  for (const bool early : {false, true}) {
    // A library that is loaded before the program begins also ends in another order.
    const std::optional<Preloaded> preloaded =
        early && kLoadsEarly ? std::optional<Preloaded>(std::in_place, library) : std::nullopt;
    for (int round = 0; round < kExits; ++round) {
      const ChildResult child = RunProgram(HOST_PROGRAMS, "exiting_host", library);
      ASSERT_EQ(child.status, 0) << round << (early ? " early " : " ") << child.errors;
    }
  }
}

}  // namespace
}  // namespace hosttest
