#include "trace/step_kinds.h"

#include <algorithm>
#include <iterator>

namespace readcard::trace {
namespace {

// In the order in which a read comes to them.
constexpr StepKind kKinds[] = {
    {"load", Track::library, {"load the library", "加载动态库"}},
    {"start-up", Track::library, {"start-up: settings and data files", "启动：读取设置和数据文件"}},
    {"open", Track::reader, {"look for the reader and open it", "查找并打开读卡器"}},
    {"authorize", Track::reader, {"authorize code of the reader", "读卡器授权码"}},
    {"version", Track::reader, {"version of the reader", "读卡器版本"}},
    {"connect-1", Track::service, {"connect, first endpoint", "连接第一个地址"}},
    {"connect-2", Track::service, {"connect, second endpoint", "连接第二个地址"}},
    {"dn", Track::reader, {"read the DN", "读取DN码"}},
    {"login", Track::service, {"exchange: login", "交换：登录"}},
    {"heartbeat", Track::service, {"exchange: heartbeat", "交换：心跳"}},
    {"await-input-key", Track::wait, {"wait for the input key", "等待INPUTKEY"}},
    {"send-dn", Track::service, {"exchange: DN", "交换：DN码"}},
    {"input-key", Track::reader, {"write the input key", "写入INPUTKEY"}},
    {"await-output-key", Track::wait, {"wait for the output key", "等待OUTPUTKEY"}},
    {"send-output-key", Track::service, {"exchange: output key", "交换：OUTPUTKEY"}},
    {"output-key", Track::reader, {"write the output key", "写入OUTPUTKEY"}},
    {"output-key-and-file-11",
     Track::reader,
     {"write the output key, read file 11", "写入OUTPUTKEY并读取文件11"}},
    {"file-11", Track::reader, {"read file 11 (text)", "读取文件11（文字）"}},
    {"file-12", Track::reader, {"read file 12 (photo, first part)", "读取文件12（照片前半）"}},
    {"send-sector-11", Track::service, {"exchange: sector 11", "交换：11扇区"}},
    {"file-13", Track::reader, {"read file 13 (photo, second part)", "读取文件13（照片后半）"}},
    {"send-sector-12", Track::service, {"exchange: sector 12", "交换：12扇区"}},
    {"file-21", Track::reader, {"read file 21 (fingerprints)", "读取文件21（指纹）"}},
    {"send-sector-13", Track::service, {"exchange: sector 13", "交换：13扇区"}},
    {"await-result", Track::wait, {"wait for the result", "等待结果"}},
    {"send-sector-21", Track::service, {"exchange: sector 21", "交换：21扇区"}},
    {"content", Track::service, {"rest of the content, decompress it", "接收其余内容并解压"}},
    {"parse", Track::service, {"parse the content", "解析内容"}},
};

constexpr struct {
  int code;
  std::string_view key;
} kPlaces[] = {{7, "heartbeat"},
               {8, "heartbeat"},
               {9, "send-dn"},
               {10, "send-dn"},
               {11, "send-output-key"},
               {12, "send-output-key"},
               {13, "send-sector-11"},
               {14, "send-sector-11"},
               {15, "send-sector-12"},
               {16, "send-sector-12"},
               {17, "send-sector-13"},
               {18, "send-sector-13"},
               {19, "send-sector-21"},
               {20, "send-sector-21"},
               {22, "content"},
               {27, "open"},
               {28, "open"},
               {40, "dn"},
               {44, "send-dn"},
               {45, "send-output-key"},
               {46, "await-result"},
               {48, "open"},
               {49, "login"},
               {50, "login"},
               {51, "login"},
               {55, "content"}};

}  // namespace

const StepKind& KindOf(std::string_view key) {
  return *std::find_if(std::begin(kKinds), std::end(kKinds),
                       [key](const StepKind& kind) { return kind.key == key; });
}

std::string_view PlaceOfCode(int code) {
  const auto* const found = std::find_if(std::begin(kPlaces), std::end(kPlaces),
                                         [code](const auto& place) { return place.code == code; });
  return found == std::end(kPlaces) ? std::string_view() : found->key;
}

const char* TrackName(Track track) {
  constexpr const char* kNames[] = {"library", "reader", "service", "wait"};
  return kNames[static_cast<int>(track)];
}

}  // namespace readcard::trace
