#include "uid_command.h"

#include <nlohmann/json.hpp>

#include "card_output.h"
#include "failure.h"

namespace readcard {
namespace {

constexpr int kIdentityCardKind = 16;

}  // namespace

std::string FetchUid(const HostLibrary& library) {
  constexpr int kAnyKindOfCard = 0;
  char uid[IDCARDREADER_UID_BYTES] = {};
  return library.readCardGetUID(kAnyKindOfCard, uid) != 0 ? uid : std::string();
}

int RunUidCommand(const HostLibrary& library, const Options& options, Console& console) {
  const std::string uid = FetchUid(library);
  const int kind = library.readCardGetCardType();
  if (uid.empty()) {
    ReportFailure(FetchFailure(library), options, console);
    return kReadFailed;
  }
  if (options.json) {
    const nlohmann::ordered_json document = {{"ok", true}, {"uid", uid}, {"kind", kind}};
    console.Print(document.dump() + "\n");
  } else {
    console.Print(uid + (kind == kIdentityCardKind
                             ? "  identity card\n"
                             : "  other card, kind " + std::to_string(kind) + "\n"));
  }
  return kAllRead;
}

}  // namespace readcard
