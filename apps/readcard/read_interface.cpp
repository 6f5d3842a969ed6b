#include "read_interface.h"

#include <algorithm>

#include "text_block.h"

namespace readcard {
namespace {

constexpr int kAnyPort = 1001;  // there is one reader, whatever the port is called

bool ReadByCloud(const HostLibrary& library) { return library.readCardStart(0) != 0; }

bool ReadByStandard(const HostLibrary& library) {
  std::uint8_t managementInformation[4];
  library.SDT_OpenPort(kAnyPort);
  return library.SDT_SelectIDCard(kAnyPort, managementInformation) == IDCARDREADER_SDT_SUCCESS;
}

// Blocks alone: the fields are what stands in the text block.
CardRecord FetchByStandard(const HostLibrary& library) {
  CardRecord record;
  FetchBlocks(library, record);
  record.fields = TextBlockFields(record.text);
  return record;
}

bool ReadByLegacy(const HostLibrary& library) {
  constexpr int kWithoutFiles = 3;
  library.InitComm(kAnyPort);
  return library.Read_Content(kWithoutFiles) != 0;
}

CardRecord FetchByLegacy(const HostLibrary& library) {
  CardRecord record;
  FetchFields(library, record);
  record.text.resize(IDCARDREADER_TEXT_BLOCK_BYTES);
  std::uint32_t length = 0;
  library.Routon_ReadBaseMsg(record.text.data(), &length);
  record.text.resize(std::min<std::size_t>(length, record.text.size()));
  FetchRawPhoto(library, record);
  return record;
}

constexpr ReadInterface kReadInterfaces[] = {{"cloud", ReadByCloud, FetchCardRecord},
                                             {"standard", ReadByStandard, FetchByStandard},
                                             {"legacy", ReadByLegacy, FetchByLegacy}};

}  // namespace

std::vector<std::string> ReadInterfaceNames() {
  std::vector<std::string> names;
  for (const ReadInterface& readInterface : kReadInterfaces) names.push_back(readInterface.name);
  return names;
}

const ReadInterface& FindReadInterface(const std::string& name) {
  for (const ReadInterface& readInterface : kReadInterfaces) {
    if (name == readInterface.name) return readInterface;
  }
  return kReadInterfaces[0];
}

}  // namespace readcard
