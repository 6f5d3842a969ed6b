// A host whose threads go on calling the library while its main function returns.

#include <atomic>
#include <cstdio>
#include <thread>

#include "host/shipped_library.h"

namespace {

void Pause() { std::this_thread::sleep_for(std::chrono::milliseconds(10)); }

}  // namespace

int main(int, char** arguments) {
  const auto& library = *new hosttest::ShippedLibrary(arguments[1]);
  static std::atomic<int> calls{0};
  for (int count = 0; count < 3; ++count) {
    std::thread([&library] {
      for (;; ++calls) {
        library.readCardErrorInfo(calls % 57);
        library.GetPeopleAddress();
        library.readCardGetLastError();
        library.SDT_ReadBaseMsg(1, nullptr, nullptr, nullptr, nullptr);
      }
    }).detach();
  }
  std::thread([&library] {
    for (;; ++calls) {
      library.readCardSetDeviceType(0);  // makes an engine, which tells of its missing files
      library.CloseComm();
      Pause();  // mostly there is none
    }
  }).detach();
  while (calls < 1000) std::this_thread::yield();
#ifndef _WIN32
  // The last that a process does is to write what its streams still hold: here it takes a while.
  const auto write = [](void*, const char*, std::size_t size) {
    Pause();
    return static_cast<ssize_t>(size);
  };
  std::fputs("unwritten", fopencookie(nullptr, "w", {nullptr, write, nullptr, nullptr}));
#endif
}
