#include "base/expect.h"
#include "config/conf_file.h"

using namespace idcardreader;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const ReaderSettings settings = ParseConfFile(text);
  const ReaderSettings defaults;
  fuzz::Expect(fuzz::Within(settings.comname, text), "a name is the file's");
  fuzz::Expect(settings.comname.find_first_of("\r\n") == std::string::npos, "a name is one line");
  fuzz::Expect(!settings.canLog || fuzz::Within("canLog: true", text),
               "a switch is on when it says");
  fuzz::Expect(settings.canPrint || fuzz::Within("canPrint: false", text), "and off when it says");
  fuzz::Expect(settings.vid == defaults.vid || fuzz::Within("vid: ", text),
               "a number is the file's or the default");
  return 0;
}
