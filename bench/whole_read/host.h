#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

#include "decode_service/decode_service.h"
#include "host/desk.h"
#include "host/shipped_library.h"

namespace bench {

// A decode service that runs already, with a scenario file of ours.
struct RunningService {
  std::uint16_t port = 0;  // 0: there is none
  std::filesystem::path scenarioFile;
};

// A host of the shipped library with a reader and a service, all on this machine.
class Host {
 public:
  // Without a running service it has one of its own.
  explicit Host(const RunningService& running);
  ~Host();

  // Milliseconds that each report of the reader and each exchange with the service take.
  void SetLatencies(int report, int exchange);

  // One whole read: milliseconds until the export returned. Throws std::runtime_error when it fails
  // or somebody else's card comes out.
  double Read();

  // Loading the library until its first export has returned, in milliseconds. The library in use is
  // closed and unloaded before it.
  double Load();

  hosttest::ShippedLibrary& Library() { return *library; }

 private:
  void Unload();

  std::filesystem::path scenarioFile;
  std::optional<devkit::DecodeService> service;
  hosttest::Desk desk;
  std::unique_ptr<hosttest::ShippedLibrary> library;
};

}  // namespace bench
