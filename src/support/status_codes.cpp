#include "support/status_codes.h"

#include <array>

#include "support/gbk_text.h"

namespace idcardreader {
namespace {

// Made once when the library is loaded; nothing here has a destructor, so threads that still run
// while the process ends can go on reading the texts.

const std::array<GbkText<40>, 57> ErrorTextTable = {{
    GbkText<40>("错误代码无效"),            // 0
    GbkText<40>("正常"),                    // 1
    GbkText<40>("网络线程开启失败"),        // 2
    GbkText<40>("网络初始化失败"),          // 3
    GbkText<40>("网络初始连接失败"),        // 4
    GbkText<40>("网络发送失败"),            // 5
    GbkText<40>("网络获取失败"),            // 6
    GbkText<40>("网络发送心跳失败"),        // 7
    GbkText<40>("网络获取心跳失败"),        // 8
    GbkText<40>("网络发送DN失败"),          // 9
    GbkText<40>("网络获取DN失败"),          // 10
    GbkText<40>("网络发送OUTPUTKEY失败"),   // 11
    GbkText<40>("网络获取OUTPUTKEY失败"),   // 12
    GbkText<40>("网络发送SECTOR11失败"),    // 13
    GbkText<40>("网络获取SECTOR11失败"),    // 14
    GbkText<40>("网络发送SECTOR12失败"),    // 15
    GbkText<40>("网络获取SECTOR12失败"),    // 16
    GbkText<40>("网络发送SECTOR13失败"),    // 17
    GbkText<40>("网络获取SECTOR13失败"),    // 18
    GbkText<40>("网络发送SECTOR21失败"),    // 19
    GbkText<40>("网络获取SECTOR21失败"),    // 20
    GbkText<40>("网络发送身份证详情失败"),  // 21
    GbkText<40>("网络获取身份证详情失败"),  // 22
    GbkText<40>("加载DLL模块失败"),         // 23
    GbkText<40>("初始化DLL的GET函数失败"),  // 24
    GbkText<40>("初始化DLL的SET函数失败"),  // 25
    GbkText<40>("读卡线程开启失败"),        // 26
    GbkText<40>("读卡(未找到设备)"),        // 27
    GbkText<40>("读卡(未放置身份证)"),      // 28
    GbkText<40>("初始化Server模块"),        // 29
    GbkText<40>("读卡(设备响应错误)"),      // 30
    GbkText<40>("读卡(未知错误)"),          // 31
    GbkText<40>("读卡(通信错误)"),          // 32
    GbkText<40>("读卡(冲突检测信号)"),      // 33
    GbkText<40>("读卡(通信超时)"),          // 34
    GbkText<40>("读卡(缓冲区太小)"),        // 35
    GbkText<40>("读卡(内部错误)"),          // 36
    GbkText<40>("读卡(参数非法)"),          // 37
    GbkText<40>("读卡(CRC_A不匹配)"),       // 38
    GbkText<40>("读卡(卡被锁死)"),          // 39
    GbkText<40>("读取DN码"),                // 40
    GbkText<40>("读卡超时"),                // 41
    GbkText<40>("读卡(开启自动寻卡失败)"),  // 42
    GbkText<40>("读取UID"),                 // 43
    GbkText<40>("网络解析1-Json错误"),      // 44
    GbkText<40>("网络解析2-Json错误"),      // 45
    GbkText<40>("监测到读卡流程超时"),      // 46
    GbkText<40>("监测到HID设备断开"),       // 47
    GbkText<40>("打开串口失败"),            // 48
    GbkText<40>("发送注册失败"),            // 49
    GbkText<40>("接收注册失败"),            // 50
    GbkText<40>("网络解析token错误"),       // 51
    GbkText<40>("解密数据失败1"),           // 52
    GbkText<40>("解密数据失败2"),           // 53
    GbkText<40>("解密数据失败3"),           // 54
    GbkText<40>("解压数据失败"),            // 55
    GbkText<40>("ERRORT_End"),              // 56
}};

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
  return ErrorTextTable[index < ErrorTextTable.size() ? index : 0];
}

std::string_view DeviceStatusText(std::uint8_t status) {
  if (status == 0) {
    return {};
  }
  return status <= DeviceStatusTexts.size() ? std::string_view(DeviceStatusTexts[status - 1])
                                            : std::string_view(kUnknownDeviceStatus);
}

}  // namespace idcardreader
