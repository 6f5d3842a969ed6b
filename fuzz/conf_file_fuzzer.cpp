#include "base/expect.h"
#include "config/conf_file.h"
#include "config/reader_settings.h"

using namespace idcardreader;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const ConfFile file = ConfFile::FromText(text);
  ReaderSettings settings;
  settings.ApplyConfFile(file);
  fuzz::Expect(fuzz::Within(settings.comname, text), "a name is the file's");
  fuzz::Expect(!settings.canLog || fuzz::Within("canLog: true", text),
               "a switch is on when it says");
  fuzz::Expect(file.Integer("vid", 7) == (file.Text("vid", "7") == "7" ? 7 : settings.vid) ||
                   file.Text("vid", "none") == "none",
               "a number is the file's or the default");
  for (const char* key : {"pid", "comnum", "comport", ""}) {
    const std::string value = file.Text(key, "none");
    fuzz::Expect(value == "none" || fuzz::Within(value, text), "a value is the file's");
    fuzz::Expect(!fuzz::Within("\n", value) && !fuzz::Within("\r", value), "a value is one line");
  }
  return 0;
}
