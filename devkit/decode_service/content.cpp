#include "decode_service/content.h"

#include "base/encoding.h"

namespace devkit {

std::string ContentText(const Card& card) {
  std::string object;
  for (const auto& [name, value] : card.fields) {
    object += object.empty() ? "\"" : ",\"";
    object += name + "\":\"" + value + "\"";
  }
  if (card.image) {
    if (!object.empty()) object += ',';
    object += "\"image\":" + ByteArrayText(*card.image);
  }
  return "{\"type\":\"" + card.type + "\",\"" + card.objectName + "\":{" + object + "}}";
}

}  // namespace devkit
