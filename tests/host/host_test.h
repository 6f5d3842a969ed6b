#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <future>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "decode_service/decode_service.h"
#include "host/desk.h"
#include "host/expected_record.h"
#include "host/record_checks.h"
#include "host/run_folder.h"
#include "host/shipped_library.h"

namespace hosttest {

using std::chrono::milliseconds;

// How much later than its time-outs a read may end: what its own passes and starting threads take.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr milliseconds kSlack(1500);
#else
inline constexpr milliseconds kSlack(250);
#endif

struct ReadResult {
  int result = 0;
  milliseconds duration{0};
};

// The shipped library, a virtual reader and a decode service that knows all cards of the devkit.
class HostTest : public testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  void Load();
  // Without CloseComm.
  void Unload() { library.reset(); }

  // Starts the service, also once more on the port it had.
  void StartService();
  void StopService();
  void ServiceMisbehaves(const nlohmann::json& serviceSection);
  void ServiceBehaves() { ServiceMisbehaves(nlohmann::json::object()); }
  // To be called before the first call of the library, or after CloseComm: data files are read when
  // the engine is created.
  void WriteDataFiles();

  // readCardStart(0) on this thread. A read that does not end within the limit is a failed test,
  // and is stopped.
  ReadResult Read(milliseconds limit = std::chrono::seconds(20));
  // The same on another thread.
  std::future<ReadResult> ReadInBackground();
  // A read that has to end within the limit. What a busy machine made late is prepared and read
  // again, twice at most.
  ReadResult ReadInTime(const std::function<void()>& prepare, milliseconds limit);
  // Puts the card down, reads it and checks everything that the library hands out.
  void ExpectGoodRead(const std::string& card);

  // Lays the command-line host beside the library.
  void CopyReadcard() const;

  std::string LastError() const { return library->readCardGetLastError(); }

  static devkit::Card CardOf(const std::string& name);

  std::unique_ptr<ShippedLibrary> library;
  std::unique_ptr<devkit::DecodeService> service;
  std::uint16_t servicePort = 0;
  Desk desk;
  RunFolder& folder = RunFolder::Get();
};

// Waits for what no event tells of; false when it has not become true within the limit.
bool Eventually(const std::function<bool()>& condition, milliseconds limit);

// The card that tests use to which any good card will do.
inline constexpr char kAnyCard[] = "resident";
inline constexpr char kTypeACard[] = "other-card";

}  // namespace hosttest
