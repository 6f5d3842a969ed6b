#include "base/expect.h"
#include "base/script.h"
#include "config/data_files.h"
#include "config/start_up.h"
#include "datafile/scrambling.h"
#include "stand_ins/files.h"

// appid.dat and hostport.dat: once as they stand, once with the script's own texts in them.

using namespace idcardreader;

namespace {

std::string Line(const std::string& field) {
  return "label\t" + devkit::Scramble(field, devkit::kDataFileKey, 0x5A) + "\n";
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Script script(data, size);
  const bool scrambled = script.Choice(2) != 0;
  const std::string value = script.ShortText();
  const std::string rest = script.Rest();
  // No file can hold a zero byte.
  const bool plain = !scrambled && (value + rest).find('\0') == std::string::npos;
  fuzz::Files() = {{"appid.dat", plain ? Line("appid=" + value) : value},
                   {"hostport.dat", plain ? Line("a=" + value) + Line("b=" + rest) : rest}};
  const StartUp startUp = ReadStartUp("/host", "/library");
  const bool loaded = startUp.appIdFile == StartUp::File::read;
  fuzz::Expect(loaded == !startUp.appId.empty(), "a loaded file has an id");
  fuzz::Expect(!plain || startUp.appId == value, "the id is the file's");
  fuzz::Expect(loaded == startUp.EndpointsKnown(), "whoever has an id has endpoints");
  fuzz::Expect(!startUp.Incomplete(), "nothing is left to be read");
  return 0;
}
