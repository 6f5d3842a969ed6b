// Takes the place of both photo decoders, and writes down how it was called.

#include <cstdint>
#include <fstream>

#ifdef _WIN32
#define DECODER_API extern "C" __declspec(dllexport)
#else
#define DECODER_API extern "C" __attribute__((visibility("default")))
#endif

DECODER_API int GetBmp(const char* photoFileName, int mode) {
  std::ofstream("calls.txt", std::ios::app | std::ios::binary)
      << "GetBmp " << photoFileName << ' ' << mode << '\n';
  return -7;
}

DECODER_API std::uintptr_t dewlt(std::uintptr_t argument) { return ~argument; }
