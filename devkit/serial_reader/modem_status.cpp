// For Windows hosts under Wine, to be preloaded: answers the question for a line's modem status on a
// pseudo-terminal, which has none. Wine asks it before it waits for a byte, and would not wait
// otherwise.

#include <dlfcn.h>
#include <sys/ioctl.h>

#include <cstdarg>

using Ioctl = int (*)(int, unsigned long, ...);

extern "C" __attribute__((visibility("default"))) int ioctl(int descriptor, unsigned long request,
                                                            ...) noexcept {
  static const auto next = reinterpret_cast<Ioctl>(dlsym(RTLD_NEXT, "ioctl"));
  std::va_list arguments;
  va_start(arguments, request);
  void* const argument = va_arg(arguments, void*);
  va_end(arguments);
  const int result = next(descriptor, request, argument);
  winsize size{};
  const bool lineWithoutModem =
      result < 0 && request == TIOCMGET && next(descriptor, TIOCGWINSZ, &size) == 0;
  if (!lineWithoutModem) return result;
  *static_cast<int*>(argument) = TIOCM_CAR | TIOCM_CTS | TIOCM_DSR;
  return 0;
}
