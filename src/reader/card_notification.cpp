#include "reader/card_notification.h"

#include "reader/reader_report.h"

namespace idcardreader {
namespace {

constexpr std::size_t kUidOffset = 3;

struct Layout {
  std::uint8_t kind;
  std::uint8_t uidSize;
};
constexpr Layout kLayouts[] = {{16, 8}, {4, 4}};

}  // namespace

std::optional<CardNotification> ParseCardNotification(std::span<const std::uint8_t> report) {
  for (const Layout& layout : kLayouts) {
    if (report.size() >= kUidOffset + layout.uidSize &&
        report[0] == static_cast<std::uint8_t>(ReaderCommand::search) && report[1] == layout.kind &&
        report[2] == layout.uidSize) {
      const auto uid = report.subspan(kUidOffset, layout.uidSize);
      return CardNotification{layout.kind, {uid.begin(), uid.end()}};
    }
  }
  return std::nullopt;
}

}  // namespace idcardreader
