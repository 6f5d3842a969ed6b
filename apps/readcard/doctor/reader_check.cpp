#include "doctor/reader_check.h"

#include <hidapi/hidapi.h>

#include <array>
#include <cstdio>
#include <functional>
#include <optional>
#include <string_view>

#include "base/reader_commands.h"
#include "platform/files.h"
#include "platform/installation.h"
#include "platform/serial_port.h"
#include "text_encoding.h"

namespace readcard::doctor {
namespace {

namespace platform = idcardreader::platform;
using platform::DynamicLibrary;

constexpr int kAnswerMs = 1000;
constexpr std::size_t kAuthorizeBytes = 6;
constexpr std::size_t kVersionBytes = 2;
constexpr std::size_t kAnswerData = 2;  // behind command and status
constexpr Text kHidApi = {"hidapi", "hidapi"};
constexpr Text kReader = {"Reader", "读卡器"};
constexpr Text kAnswers = {"Answers of the reader", "读卡器的应答"};
constexpr Text kSerial = {"Reader on the serial port", "串口读卡器"};
constexpr Text kReplug = {"Unplug the reader and plug it in again; try another cable and port.",
                          "请拔下读卡器重新插入；换线、换端口再试。"};

struct HidFunctions {
  decltype(&hid_enumerate) enumerate = nullptr;
  decltype(&hid_free_enumeration) free_enumeration = nullptr;
  decltype(&hid_open) open = nullptr;
  decltype(&hid_write) write = nullptr;
  decltype(&hid_read_timeout) read_timeout = nullptr;
  decltype(&hid_close) close = nullptr;
  decltype(&hid_error) error = nullptr;

  explicit HidFunctions(const DynamicLibrary& library) {
    const auto bind = [&](const char* name, auto& function) {
      function =
          reinterpret_cast<std::remove_reference_t<decltype(function)>>(library.Symbol(name));
    };
    bind("hid_enumerate", enumerate);
    bind("hid_free_enumeration", free_enumeration);
    bind("hid_open", open);
    bind("hid_write", write);
    bind("hid_read_timeout", read_timeout);
    bind("hid_close", close);
    bind("hid_error", error);
  }
  bool Complete() const {
    return enumerate && free_enumeration && open && write && read_timeout && close;
  }
};

std::string Hex(const std::uint8_t* bytes, std::size_t count) {
  std::string text;
  for (std::size_t index = 0; index < count; ++index) {
    char pair[3];
    std::snprintf(pair, sizeof pair, "%02X", bytes[index]);
    text += pair;
  }
  return text;
}

std::string Ids(const ConfSettings& settings) {
  char text[16];
  std::snprintf(text, sizeof text, "%04X:%04X", settings.vid & 0xFFFF, settings.pid & 0xFFFF);
  return text;
}

// Sends one command and yields the data of its answer; nothing when there is no good answer.
using Ask = std::function<std::optional<std::string>(devkit::Command, std::size_t)>;

ReaderIdentity AskForIdentity(const Ask& ask, const Text& what, Findings& findings) {
  ReaderIdentity identity;
  const auto authorize = ask(devkit::Command::authorize, kAuthorizeBytes);
  const auto version = ask(devkit::Command::version, kVersionBytes);
  if (!authorize || !version) {
    findings.push_back({Level::fault,
                        "reader.silent",
                        what,
                        authorize ? "version" : "authorize",
                        {"The reader was opened but does not answer as it should (status code 30).",
                         "读卡器已打开，但没有正确应答（状态码30）。"},
                        kReplug});
    return identity;
  }
  identity = {*authorize, *version};
  findings.push_back({Level::ok, "reader.identity", what, *authorize + " " + *version});
  return identity;
}

int CountAll(const HidFunctions& hid) {
  int count = 0;
  hid_device_info* const all = hid.enumerate(0, 0);
  for (const hid_device_info* each = all; each != nullptr; each = each->next) ++count;
  hid.free_enumeration(all);
  return count;
}

bool IsVirtual(const HidFunctions& hid) {
  const wchar_t* const words = hid.error != nullptr ? hid.error(nullptr) : nullptr;
  return words != nullptr && std::wstring_view(words).starts_with(L"the virtual reader");
}

void TellWhyItDoesNotOpen(const ConfSettings& settings, Findings& findings) {
  const auto nodes = platform::HidDeviceNodes(static_cast<std::uint16_t>(settings.vid),
                                              static_cast<std::uint16_t>(settings.pid));
  for (const platform::DeviceNode& node : nodes) {
    if (!node.allowed) {
      findings.push_back(
          {Level::fault,
           "reader.permission",
           kReader,
           node.path,
           {"The user may not read and write the reader's device node (status code 28).",
            "当前用户无权读写读卡器的设备节点（状态码28）。"},
           {"Install /etc/udev/rules.d/70-idcardreader.rules with the line SUBSYSTEM==\"hidraw\", "
            "ATTRS{idVendor}==\"c216\", ATTRS{idProduct}==\"0102\", GROUP=\"plugdev\", "
            "MODE=\"0660\", TAG+=\"uaccess\", plug the reader in anew, and let the user be in the "
            "group plugdev.",
            "请安装/etc/udev/rules.d/70-idcardreader.rules，内容为SUBSYSTEM==\"hidraw\", "
            "ATTRS{idVendor}==\"c216\", ATTRS{idProduct}==\"0102\", GROUP=\"plugdev\", "
            "MODE=\"0660\", TAG+=\"uaccess\"，重新插入读卡器，并把用户加入plugdev组。"}});
      return;
    }
  }
  std::string holders;
  for (const platform::DeviceNode& node : nodes) {
    for (const std::string& name : platform::ProcessesWithOpenFile(node.path)) {
      holders += (holders.empty() ? "" : ", ") + name;
    }
  }
  findings.push_back(
      {Level::fault,
       "reader.held",
       kReader,
       holders.empty() ? Ids(settings) : holders,
       {"The reader is there but cannot be opened: another program holds it (status code 28).",
        "找到了读卡器但无法打开：它被其他程序占用（状态码28）。"},
       {"Close the other programs that use the reader.", "请关闭使用该读卡器的其他程序。"}});
}

void TellWhoHoldsIt(const ConfSettings& settings, Findings& findings) {
  for (const platform::DeviceNode& node : platform::HidDeviceNodes(
           static_cast<std::uint16_t>(settings.vid), static_cast<std::uint16_t>(settings.pid))) {
    for (const std::string& name : platform::ProcessesWithOpenFile(node.path)) {
      findings.push_back(
          {Level::warning,
           "reader.shared",
           kReader,
           name,
           {"Another program has the reader open, too: each takes the other's answers.",
            "另一个程序也打开了读卡器：双方会互相取走应答。"},
           {"Close one of them.", "请关闭其中一个。"}});
    }
  }
}

}  // namespace

std::unique_ptr<DynamicLibrary> CheckHidApi(const std::filesystem::path& libraryFolder,
                                            Findings& findings) {
  const std::string name = platform::HidApiFileName();
  auto library = DynamicLibrary::Open(name, DynamicLibrary::Dependencies::default_search);
  if (!library) {
    library = DynamicLibrary::Open(platform::AnsiText(libraryFolder / name),
                                   DynamicLibrary::Dependencies::from_its_own_folder);
  }
  if (!library || !HidFunctions(*library).Complete()) {
    findings.push_back(
        {Level::fault,
         "hidapi.missing",
         kHidApi,
         name,
         {"The library of hidapi is missing or does not load, so no reader is found (status code "
          "27).",
          "缺少hidapi库或无法加载，因此找不到读卡器（状态码27）。"},
         {"Put hidapi.dll beside the library; on Debian install libhidapi-hidraw0.",
          "请把hidapi.dll放在动态库旁边；Debian上请安装libhidapi-hidraw0。"}});
    return nullptr;
  }
  const std::string file = PathText(library->File());
  if (IsVirtual(HidFunctions(*library))) {
    findings.push_back({Level::warning,
                        "hidapi.virtual",
                        kHidApi,
                        file,
                        {"This is the virtual reader of the devkit: no real card is read.",
                         "这是devkit的虚拟读卡器：读不到真实卡片。"},
                        {"For real cards let the real hidapi be found first.",
                         "读取真实卡片时，请让系统先找到真正的hidapi。"}});
  } else {
    findings.push_back({Level::ok, "hidapi", kHidApi, file});
  }
  return library;
}

ReaderIdentity CheckUsbReader(const DynamicLibrary& hidApi, const ConfSettings& settings,
                              Findings& findings) {
  const HidFunctions hid(hidApi);
  const auto vendorId = static_cast<unsigned short>(settings.vid);
  const auto productId = static_cast<unsigned short>(settings.pid);
  hid_device_info* const found =
      vendorId != 0 && productId != 0 ? hid.enumerate(vendorId, productId) : nullptr;
  if (found == nullptr) {
    const bool zero = vendorId == 0 || productId == 0;
    findings.push_back(
        {Level::fault,
         zero ? "reader.ids-zero" : "reader.missing",
         kReader,
         Ids(settings) + ", " + std::to_string(CountAll(hid)) + " HID",
         zero ? Text{"vid or pid in conf.yaml counts as 0, which finds no reader (status code 27).",
                     "conf.yaml中的vid或pid被当作0，因此找不到读卡器（状态码27）。"}
              : Text{"No reader with these USB ids is plugged in (status code 27).",
                     "没有插入具有这些USB标识的读卡器（状态码27）。"},
         {"Plug the reader in; check vid and pid in conf.yaml, which are decimal numbers.",
          "请插入读卡器；检查conf.yaml中的vid和pid，它们是十进制数。"}});
    return {};
  }
  hid.free_enumeration(found);
  findings.push_back({Level::ok, "reader.found", kReader, Ids(settings)});
  TellWhoHoldsIt(settings, findings);

  hid_device* const device = hid.open(vendorId, productId, nullptr);
  if (device == nullptr) {
    TellWhyItDoesNotOpen(settings, findings);
    return {};
  }
  const auto ask = [&](devkit::Command command, std::size_t bytes) -> std::optional<std::string> {
    std::array<std::uint8_t, devkit::kReportSize + 1> request{};  // the report's number comes first
    request[1] = static_cast<std::uint8_t>(command);
    if (hid.write(device, request.data(), request.size()) < 0) return std::nullopt;
    std::array<std::uint8_t, devkit::kReportSize> answer{};
    // What an earlier program left unread may come first.
    for (int attempt = 0; attempt < 3; ++attempt) {
      if (hid.read_timeout(device, answer.data(), answer.size(), kAnswerMs) <= 0) break;
      if (answer[0] == request[1]) {
        if (answer[1] != 0) break;
        return Hex(&answer[kAnswerData], bytes);
      }
    }
    return std::nullopt;
  };
  const ReaderIdentity identity = AskForIdentity(ask, kAnswers, findings);
  hid.close(device);
  return identity;
}

ReaderIdentity CheckSerialReader(const ConfSettings& settings, Findings& findings) {
  const std::string name =
      platform::SerialPortName(static_cast<int>(settings.comnum), settings.comname);
  platform::ComAccess port;
  if (!port.Open(name, settings.comport)) {
    findings.push_back(
        {Level::fault,
         "serial.open",
         kSerial,
         name + ", " + GbkToUtf8(port.LastErrorText()),
         {"The serial port cannot be opened: there is none of this name, another "
          "program holds it, or the user may not use it (status code 48).",
          "无法打开串口：没有该串口、被其他程序占用，或当前用户无权使用（状态码48）。"},
         {"Check comnum and comport (on Linux comname) in conf.yaml; on Linux let "
          "the user be in the group dialout.",
          "请检查conf.yaml中的comnum和comport（Linux上为comname）；Linux上请把用户"
          "加入dialout组。"}});
    return {};
  }
  findings.push_back(
      {Level::ok, "serial.open", kSerial, name + ", " + std::to_string(settings.comport)});
  const auto ask = [&](devkit::Command command, std::size_t bytes) -> std::optional<std::string> {
    const auto code = static_cast<std::uint8_t>(command);
    if (port.WriteData(&code, 1) != 1) return std::nullopt;
    std::array<std::uint8_t, devkit::kReportSize> answer{};
    std::size_t received = 0;
    while (received < answer.size()) {
      const auto room = static_cast<std::uint32_t>(answer.size() - received);
      const int count = port.ReadData(&answer[received], room, kAnswerMs);
      if (count <= 0) break;
      received += static_cast<std::size_t>(count);
    }
    if (received < kAnswerData + bytes || answer[0] != code || answer[1] != 0) return std::nullopt;
    return Hex(&answer[kAnswerData], bytes);
  };
  return AskForIdentity(ask, kSerial, findings);
}

}  // namespace readcard::doctor
