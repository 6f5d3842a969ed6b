#include "support/status_codes.h"

#include <array>
#include <iterator>

#include "support/text.h"

namespace idcardreader {
namespace {

// Made once when the library is loaded; nothing here has a destructor, so threads that still run
// while the process ends can go on reading the texts.

const GbkText<40> ErrorTextTable[] = {
#include "status_code_texts.inc"
};

const std::array<GbkText<40>, 8> DeviceStatusTexts = {{
    GbkText<40>("通信错误"),
    GbkText<40>("冲突检测信号"),
    GbkText<40>("通信超时"),
    GbkText<40>("缓冲区太小"),
    GbkText<40>("内部错误"),
    GbkText<40>("参数非法"),
    GbkText<40>("CRC_A 不匹配"),
    GbkText<40>("卡被锁死"),
}};

const GbkText<40> kUnknownDeviceStatus("未知错误");

}  // namespace

std::string_view StatusText(std::int32_t code) {
  const auto index = static_cast<std::uint32_t>(code);
  return ErrorTextTable[index < std::size(ErrorTextTable) ? index : 0];
}

std::string_view DeviceStatusText(std::uint8_t status) {
  if (status == 0) {
    return {};
  }
  return status <= DeviceStatusTexts.size() ? std::string_view(DeviceStatusTexts[status - 1])
                                            : std::string_view(kUnknownDeviceStatus);
}

}  // namespace idcardreader
