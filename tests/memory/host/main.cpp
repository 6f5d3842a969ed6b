// The host whose memory is searched. It makes the calls that it is told to and looks at nothing that
// they hand out: whatever of a card is found in this process, the library has left there.

#include <dlfcn.h>
#include <unistd.h>

#include <cstdint>
#include <string_view>
#include <thread>

#include "memory/host/protocol.h"

int main(int, char** arguments) {
  void* const library = dlopen(arguments[1], RTLD_NOW);
  std::thread background;
  memorytest::Call call;
  while (read(memorytest::kControl, &call, sizeof call) == sizeof call) {
    const auto function = reinterpret_cast<std::intptr_t (*)(int)>(dlsym(library, call.function));
    std::intptr_t result = 0;
    if (call.inBackground) {
      background = std::thread(function, call.argument);
    } else {
      result = function(call.argument);
    }
    if (std::string_view(call.function) == "CloseComm" && background.joinable()) background.join();
    if (write(memorytest::kControl, &result, sizeof result) != sizeof result) break;
  }
}
