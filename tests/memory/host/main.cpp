// The host whose memory is searched. It does what it is told, a letter each, and looks at nothing
// that a call hands out: whatever of a card is found in this process, the library has left there.

#include <dlfcn.h>
#include <idcardreader/idcardreader.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <thread>

#include "memory/host/descriptors.h"

namespace {

void* library = nullptr;

template <typename Function>
Function* Find(const char* name) {
  return reinterpret_cast<Function*>(dlsym(library, name));
}
#define CALL(name) Find<decltype(name)>(#name)

std::thread background;
std::intptr_t backgroundResult = 0;

std::intptr_t Perform(char command) {
  switch (command) {
    case 's':
      return CALL(readCardSetDeviceType)(1);
    case 'r':
      return CALL(readCardStart)(0);
    case 'b':
      background = std::thread([] { backgroundResult = CALL(readCardStart)(0); });
      return 0;
    case 'e':
      CALL(readCardStop)();
      background.join();
      return backgroundResult;
    case 't':  // the last text stays: its place
      CALL(GetPeopleAddress)();
      return reinterpret_cast<std::intptr_t>(CALL(GetPeopleName)());
    case 'k':
      return CALL(GetNewCardType)();
    case 'c':
      return CALL(CloseComm)();
    default:
      return -1;
  }
}

}  // namespace

int main(int, char** arguments) {
  library = dlopen(arguments[1], RTLD_NOW);
  if (library == nullptr) {
    std::fprintf(stderr, "%s\n", dlerror());
    return 1;
  }
  char command = 0;
  while (read(memorytest::kControl, &command, 1) == 1) {
    const std::intptr_t result = Perform(command);
    if (write(memorytest::kControl, &result, sizeof result) != sizeof result) break;
  }
}
