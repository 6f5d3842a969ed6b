#include "support/result_items.h"

#include <array>

#include "support/text.h"

namespace idcardreader {
namespace {

// The labels of all numbers: those below 28 and between the results name steps, requests and
// settings, which are logged with texts of their own.
const std::array<GbkText<64>, 54> ItemLabelTable = {{
    GbkText<64>("初始化Server模块"),              // 1
    GbkText<64>("卸载Server模块"),                // 2
    GbkText<64>("初始化解码通道，发送心跳指令"),  // 3
    GbkText<64>("身份证UID"),                     // 4
    GbkText<64>("身份证DN码"),                    // 5
    GbkText<64>("身份证内部验证，扇区内检"),      // 6
    GbkText<64>("身份证外部验证，扇区外检"),      // 7
    GbkText<64>("身份证11扇区"),                  // 8
    GbkText<64>("身份证12扇区"),                  // 9
    GbkText<64>("身份证13扇区"),                  // 10
    GbkText<64>("身份证21扇区"),                  // 11
    GbkText<64>("获取身份证DN码的返回数据"),      // 12
    GbkText<64>("获取身份证内部验证的返回数据"),  // 13
    GbkText<64>("新平台注册"),                    // 14
    GbkText<64>("查询身份证信息和图片"),          // 15
    GbkText<64>("查询身份证信息，不包含图片"),    // 16
    GbkText<64>("预留1"),                         // 17
    GbkText<64>("预留2"),                         // 18
    GbkText<64>("默认的服务器IP和端口"),          // 19
    GbkText<64>("备用的服务器IP和端口"),          // 20
    GbkText<64>("超时时间（单位：毫秒）"),        // 21
    GbkText<64>("记录LOG的开关"),                 // 22
    GbkText<64>("设备编码"),                      // 23
    GbkText<64>("域名服务器和端口"),              // 24
    GbkText<64>("平台切换"),                      // 25
    GbkText<64>("DNS1"),                          // 26
    GbkText<64>("DNS2"),                          // 27
    GbkText<64>("身份证详情"),                    // 28
    GbkText<64>("身份证照片"),                    // 29
    GbkText<64>("指纹1"),                         // 30
    GbkText<64>("指纹2"),                         // 31
    GbkText<64>("公民身份号码"),                  // 32
    GbkText<64>("居住地址"),                      // 33
    GbkText<64>("签证机关"),                      // 34
    GbkText<64>("姓名"),                          // 35
    GbkText<64>("民族"),                          // 36
    GbkText<64>("性别"),                          // 37
    GbkText<64>("出生日期"),                      // 38
    GbkText<64>("有效起始日期"),                  // 39
    GbkText<64>("有效截止日期"),                  // 40
    GbkText<64>("卡片类型"),                      // 41
    GbkText<64>("通行证号码"),                    // 42
    GbkText<64>("英文名称"),                      // 43
    GbkText<64>("国家"),                          // 44
    GbkText<64>("国家代码"),                      // 45
    GbkText<64>("预留1"),                         // 46
    GbkText<64>("预留2"),                         // 47
    GbkText<64>("预留3"),                         // 48
    GbkText<64>("预留4"),                         // 49
    GbkText<64>("读卡成功"),                      // 50
    GbkText<64>("读卡失败"),                      // 51
    GbkText<64>("读卡等待"),                      // 52
    GbkText<64>("读卡完成"),                      // 53
    GbkText<64>("停止读卡"),                      // 54
}};

}  // namespace

std::string_view ItemLabel(ResultItem item) {
  const auto index = static_cast<std::uint32_t>(item) - 1;
  return index < ItemLabelTable.size() ? std::string_view(ItemLabelTable[index])
                                       : std::string_view();
}

}  // namespace idcardreader
