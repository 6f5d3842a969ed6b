#include "config/reader_settings.h"

#include "support/text.h"

namespace idcardreader {

void ReaderSettings::ApplyConfFile(const ConfFile& file) {
  canLog = file.Switch("canLog");
  canPrint = file.Text("canPrint", "true") != "false";
  vid = file.Integer("vid", vid);
  pid = file.Integer("pid", pid);
  comnum = file.Integer("comnum", comnum);
  comport = file.Integer("comport", comport);
  comname = file.Text("comname", comname);
}

void ApplyEndpoint(const std::string& endpoint, std::string& host, std::string& port) {
  const auto pieces = SplitText(endpoint, ':');
  if (pieces.size() == 2) {
    host = pieces[0];
    port = pieces[1];
  }
}

}  // namespace idcardreader
