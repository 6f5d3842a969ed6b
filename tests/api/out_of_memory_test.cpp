// A process that has no memory left, and a thread that is held inside a call where it asks for some:
// only Linux lets a program take the place of the system's allocator.

#if defined(__linux__) && !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>

#include "host/host_test.h"

extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
}

namespace {

std::atomic<bool> watching = false;
std::atomic<bool> forGood = false;
std::atomic<long> left = LONG_MAX;

// The library's threads are those that are born while it is watched, and its callers.
thread_local int watched = -1;

// The next allocation of a thread that asks for it waits until it is let go.
thread_local bool heldNext = false;
std::atomic<bool> held = false;

void Hold() {
  heldNext = false;
  held = true;
  held.wait(true);
}

bool Refused() {
  if (watched < 0) watched = watching ? 1 : 0;
  if (watched == 0 || !watching || !(--left == 0 || (left < 0 && forGood))) return false;
  errno = ENOMEM;
  return true;
}

}  // namespace

extern "C" {

void* malloc(std::size_t size) {
  if (heldNext) Hold();
  return Refused() ? nullptr : __libc_malloc(size);
}

void* calloc(std::size_t count, std::size_t size) {
  return Refused() ? nullptr : __libc_calloc(count, size);
}

void* realloc(void* memory, std::size_t size) {
  return Refused() ? nullptr : __libc_realloc(memory, size);
}

}  // extern "C"

namespace hosttest {
namespace {

class EngineUseTest : public HostTest {};

// The engine's end waits for its last user, and is woken by him; meanwhile nobody gets the engine.
TEST_F(EngineUseTest, CloseWaitsForACallThatIsInsideAndIsWokenByItsEnd) {
  ExpectGoodRead(kAnyCard);
  const std::future<std::string> inside = std::async(std::launch::async, [this] {
    heldNext = true;
    return std::string(library->readCardErrorInfo(22));  // is copied while the engine is in use
  });
  ASSERT_TRUE(Eventually([] { return held.load(); }));
  const std::future<std::int32_t> closed =
      std::async(std::launch::async, [this] { return library->CloseComm(); });
  EXPECT_TRUE(Eventually([this] { return library->readCardErrorInfo(1)[0] == '\0'; }))
      << "an engine that ends was handed out";
  EXPECT_EQ(closed.wait_for(milliseconds(200)), std::future_status::timeout)
      << "the engine ended while it was in use";
  held = false;
  held.notify_all();
  if (closed.wait_for(std::chrono::seconds(20)) != std::future_status::ready) {
    ADD_FAILURE() << "nobody has woken the engine's end";
    std::fflush(nullptr);
    std::_Exit(1);
  }
  ExpectGoodRead(kAnyCard);
}

class OutOfMemoryTest : public HostTest {
 protected:
  // One of the ways to read a card, or to look for one.
  bool Call(long number) const {
    std::uint8_t word[4];
    if (number % 4 == 1) return library->SDT_SelectIDCard(1, word) == IDCARDREADER_SDT_SUCCESS;
    if (number % 4 == 2) return library->Read_Content(0) == 1;
    if (number % 4 == 3) library->SDT_StartFindIDCard(1, word);
    return library->readCardStart(0) == 1;
  }
};

TEST_F(OutOfMemoryTest, AnyAllocationMayFail) {
  // Each of them takes many minutes.
  const long step = std::getenv("IDCARDREADER_EVERY_ALLOCATION") != nullptr ? 1 : 53;
  const std::string name = Gbk(CardOf(kAnyCard).Field("name"));
  desk.Put(kAnyCard);
  bool reached = true;
  for (long number = 1; reached; number += step) {
    for (const bool allBehindIt : {false, true}) {
      SCOPED_TRACE(std::string(allBehindIt ? "all from " : "only ") + std::to_string(number));
      char text[IDCARDREADER_FIELD_BYTES] = {};
      char copy[IDCARDREADER_FIELD_BYTES] = {};
      char uid[IDCARDREADER_UID_BYTES];
      watched = 1;
      left = number;
      forGood = allBehindIt;
      watching = true;  // the test asks for none meanwhile: it would be refused, too
      const bool succeeded = Call(number);
      std::strncpy(text, library->GetPeopleName(), sizeof text - 1);
      const std::int32_t copied = library->GetNewPeopleName(copy);
      library->readCardGetUID(0, uid);
      library->readCardGetLastError();
      library->readCardGetComSet();
      library->readCardLog(0);
      library->readCardInit();
      library->CloseComm();
      reached = left <= 0;
      watching = false;
      watched = 0;
      EXPECT_EQ(copied, copy[0] == '\0' ? 0 : 1);
      for (const std::string got : {text, copy}) {
        EXPECT_TRUE(got == name || (got.empty() && reached)) << got;
      }
      EXPECT_TRUE(succeeded || reached);
      ExpectGoodRead(kAnyCard);
      library->CloseComm();
      // What a library keeps for good is to be allocated again.
      Unload();
      Load();
    }
  }
}

}  // namespace
}  // namespace hosttest

#endif
