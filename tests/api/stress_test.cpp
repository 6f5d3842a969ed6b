// Every function that may run beside others does, from several threads at once; nothing of it may
// bring the library into a state that a good read does not end.

#include <atomic>
#include <functional>
#include <thread>
#include <vector>

#include "host/host_test.h"

namespace hosttest {
namespace {

constexpr std::size_t kRounds = 12;
// How long each round lasts: a few reads, some of them ended by the others.
constexpr milliseconds kRound(250);

class StressTest : public HostTest {};

TEST_F(StressTest, EverythingAtOnceEndsAndTheNextReadIsGood) {
  const auto& l = *library;
  const auto read = [&l] { l.readCardStart(0); };
  // These share no memory of the host's.
  const std::vector<std::function<void()>> always = {
      read, read, [&l] { l.SDT_SelectIDCard(1, nullptr); }, [&l] { l.Read_Content(0); },
      [&l] { l.readCardGetDeviceStatus(); }, [&l] { l.readCardGetCardType(); },
      [&l] { l.GetNewCardType(); }, [&l] { l.readCardBeep(0); }, [&l] { l.HID_BeepLED(1, 1, 10); },
      [&l] { l.readCardSetDeviceType(0); }, [&l] { l.readCardInit(); },
      [&l] {
        char uid[IDCARDREADER_UID_BYTES];
        l.readCardGetUID(0, uid);
      },
      // Those that return texts share one place, so one thread asks for all of them, and for the
      // fields besides.
      [&l] {
        l.readCardErrorInfo(40);
        for (const auto text : {l.readCardGetLastError, l.readCardGetDN, l.readCardGetVersionCode,
                                l.readCardGetAuthorizeCode, l.readCardGetHostDeviceCode,
                                l.readCardGetSdkVersion, l.readCardGetComSet}) {
          text();
        }
        char field[IDCARDREADER_LONG_FIELD_BYTES];
        for (const FieldRow& row : FieldRows()) {
          if (row.pointer != nullptr) (l.*row.pointer)();
          (l.*row.copy)(field);
        }
      }};
  // Each round another one ends what the readers have begun.
  const std::vector<std::function<void()>> disturbances = {
      [] {},
      [&l] { l.readCardStop(); },
      [&l] { l.readCardStart(1); },  // the search
      [&l] { l.Authenticate(); },
      [&l] { l.readCardDestory(); },
      [&l] { l.CloseComm(); },
      [&l] {
        l.readCardLog(1);
        l.readCardLog(0);
      }};
  desk.Put(kAnyCard);
  for (std::size_t round = 0; round < kRounds; ++round) {
    std::vector<std::function<void()>> calls = always;
    calls.push_back(disturbances[round % disturbances.size()]);
    std::atomic<bool> over = false;
    std::vector<std::thread> threads;
    for (const auto& call : calls) {
      threads.emplace_back([&over, &call] {
        for (; !over; std::this_thread::sleep_for(milliseconds(1))) call();
      });
    }
    std::this_thread::sleep_for(kRound);
    over = true;
    for (std::thread& thread : threads) thread.join();
    library->readCardStop();
    ExpectGoodRead(round % 2 == 0 ? "gat" : kAnyCard);
  }
}

}  // namespace
}  // namespace hosttest
