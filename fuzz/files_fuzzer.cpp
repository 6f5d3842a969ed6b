#include "base/expect.h"
#include "base/script.h"
#include "config/start_up.h"
#include "datafile/scrambling.h"
#include "stand_ins/stand_ins.h"

// appid.dat and hostport.dat, once as they stand, once with the script's own texts in them; or
// conf.yaml.

using namespace idcardreader;
using fuzz::Expect, fuzz::Within;

namespace {

std::string Line(const std::string& field) {
  return "label\t" + devkit::Scramble(field, devkit::kDataFileKey, 0x5A) + "\n";
}

void CheckConfFile(const std::string& text) {
  const ReaderSettings settings = ParseConfFile(text);
  Expect(Within(settings.comname, text), "a name is the file's");
  Expect(settings.comname.find_first_of("\r\n") == std::string::npos, "a name is one line");
  Expect(!settings.canLog || Within("canLog: true", text), "a switch is on when it says");
  Expect(settings.canPrint || Within("canPrint: false", text), "and off when it says");
  Expect(settings.vid == ReaderSettings().vid || Within("vid: ", text),
         "a number is the file's or the default");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Script script(data, size);
  const std::size_t kind = script.Choice(3);
  if (kind == 2) {
    CheckConfFile(script.Rest());
    return 0;
  }
  const std::string value = script.ShortText();
  const std::string rest = script.Rest();
  // No file can hold a zero byte.
  const bool plain = kind == 0 && (value + rest).find('\0') == std::string::npos;
  fuzz::Files() = {{"appid.dat", plain ? Line("appid=" + value) : value},
                   {"hostport.dat", plain ? Line("a=" + value) + Line("b=" + rest) : rest}};
  const StartUp startUp = ReadStartUp("/host", "/library");
  const bool loaded = startUp.appIdFile == StartUp::File::read;
  Expect(loaded == !startUp.appId.empty(), "a loaded file has an id");
  Expect(!plain || startUp.appId == value, "the id is the file's");
  Expect(loaded == startUp.EndpointsKnown(), "whoever has an id has endpoints");
  Expect(!startUp.Incomplete(), "nothing is left to be read");
  return 0;
}
