#pragma once

#include <string>

#include "decode_service/decode_service.h"
#include "host/desk.h"
#include "host/shipped_library.h"

namespace bench {

// A host of the shipped library with a reader and a service of its own, all on this machine.
class Host {
 public:
  Host();
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

  devkit::DecodeService service;
  hosttest::Desk desk;
  std::unique_ptr<hosttest::ShippedLibrary> library;
};

}  // namespace bench
