#include "base/expect.h"
#include "base/script.h"
#include "config/data_file_lines.h"
#include "config/data_files.h"
#include "config/field_scrambling.h"
#include "config/reader_settings.h"
#include "datafile/scrambling.h"
#include "stand_ins/files.h"

// appid.dat and hostport.dat: once as they stand, once with the script's own texts in them.

using namespace idcardreader;

namespace {

std::string Line(const std::string& field) {
  return "label\t" + devkit::Scramble(field, kDataFileKey, 0x5A) + "\n";
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
  DataFiles files("/library");
  const auto result = files.LoadAppId();
  fuzz::Expect((result == DataFiles::kLoaded) == !files.AppId().empty(), "a loaded file has an id");
  fuzz::Expect(files.LoadAppId() == result, "a file is loaded once");
  fuzz::Expect(!plain || files.AppId() == value, "the id is the file's");
  files.LoadHostPort();
  for (std::size_t count = files.EndpointCount(); count > 0; --count) {
    const std::string endpoint = files.NextEndpoint();
    ReaderSettings settings;
    ApplyEndpoint(endpoint, settings.serverHost1, settings.serverPort1);
    fuzz::Expect(!endpoint.empty(), "an endpoint is not empty");
  }
  fuzz::Expect(files.EndpointIndex() == 0, "the endpoints start over");
  return 0;
}
