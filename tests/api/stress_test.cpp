// Every function that may run beside others does, from several threads at once; nothing of it may
// bring the library into a state that a good read does not end.

#include <atomic>
#include <functional>
#include <thread>
#include <vector>

#include "host/host_test.h"

namespace hosttest {
namespace {

constexpr int kRounds = 12;
// How long each round lasts: a few reads, some of them ended by the others.
constexpr milliseconds kRound(250);

class StressTest : public HostTest {
 protected:
  // Calls each of these in a thread of its own, again and again, until the round is over.
  void CallAtOnce(const std::vector<std::function<void()>>& calls) {
    std::atomic<bool> over = false;
    std::vector<std::thread> threads;
    threads.reserve(calls.size());
    for (const auto& call : calls) {
      threads.emplace_back([&over, &call] {
        while (!over) {
          call();
          std::this_thread::sleep_for(milliseconds(1));
        }
      });
    }
    std::this_thread::sleep_for(kRound);
    over = true;
    for (std::thread& thread : threads) thread.join();
  }

  std::vector<std::function<void()>> Readers() {
    const auto read = [this] { library->readCardStart(0); };
    return {read, read, [this] { library->SDT_SelectIDCard(1, nullptr); },
            [this] { library->Read_Content(0); }};
  }

  // What shares no memory of the host's with the others.
  std::vector<std::function<void()>> Questions() {
    return {[this] { library->readCardGetDeviceStatus(); },
            [this] { library->readCardGetCardType(); }, [this] { library->GetNewCardType(); },
            [this] { library->readCardBeep(0); }, [this] { library->HID_BeepLED(1, 1, 10); },
            [this] { library->readCardSetDeviceType(0); }, [this] { library->readCardInit(); },
            [this] {
              char uid[IDCARDREADER_UID_BYTES];
              library->readCardGetUID(0, uid);
            },
            // Those that return texts share one place, so one thread asks for all of them, and for
            // the fields besides.
            [this] {
              library->readCardGetLastError();
              library->readCardErrorInfo(40);
              library->readCardGetDN();
              library->readCardGetVersionCode();
              library->readCardGetAuthorizeCode();
              library->readCardGetHostDeviceCode();
              library->readCardGetSdkVersion();
              library->readCardGetComSet();
              char field[IDCARDREADER_LONG_FIELD_BYTES];
              for (const FieldRow& row : FieldRows()) {
                if (row.pointer != nullptr) (library.get()->*row.pointer)();
                (library.get()->*row.copy)(field);
              }
            }};
  }

  // Each round other functions end what the readers have begun.
  void Stress(const std::vector<std::function<void()>>& disturbances) {
    desk.Put(kAnyCard);
    for (int round = 0; round < kRounds; ++round) {
      std::vector<std::function<void()>> calls = Readers();
      for (const auto& question : Questions()) calls.push_back(question);
      calls.push_back(disturbances[static_cast<std::size_t>(round) % disturbances.size()]);
      CallAtOnce(calls);
      library->readCardStop();
      ExpectGoodRead(round % 2 == 0 ? "gat" : kAnyCard);
    }
  }
};

TEST_F(StressTest, EverythingAtOnceEndsAndTheNextReadIsGood) {
  Stress({[] {}, [this] { library->readCardStop(); },
          [this] { library->readCardStart(1); },  // the search
          [this] { library->Authenticate(); }, [this] { library->readCardDestory(); },
          [this] { library->CloseComm(); },
          [this] {
            library->readCardLog(1);
            library->readCardLog(0);
          }});
}

}  // namespace
}  // namespace hosttest
