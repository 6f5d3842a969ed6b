#include "doctor/service_check.h"

#include <idcardreader/idcardreader.h>

#include <chrono>
#include <memory>
#include <nlohmann/json.hpp>

#include "platform/socket.h"
#include "platform/threads.h"

namespace readcard::doctor {
namespace {

namespace platform = idcardreader::platform;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr milliseconds kLookUpLimit(3000);
constexpr std::uint32_t kTimeoutMs = 1000;  // as the library has it
constexpr Text kName = {"Name of the decode service", "解码服务的主机名"};
constexpr Text kConnection = {"Connection to the decode service", "与解码服务的连接"};
constexpr Text kLogin = {"Login to the decode service", "登录解码服务"};

std::string Since(steady_clock::time_point begin) {
  const auto passed = std::chrono::duration_cast<milliseconds>(steady_clock::now() - begin);
  return std::to_string(passed.count()) + " ms";
}

// Empty when the name is not found, or not in time.
std::string LookUp(const std::string& host) {
  auto address = std::make_shared<std::string>();  // the look-up may go on when it is given up
  platform::LoneThread thread;
  const bool started =
      thread.Start([address, host] { *address = platform::SystemSockets().ResolveHostName(host); });
  return started && thread.WaitFor(kLookUpLimit) ? *address : std::string();
}

class Connection {
 public:
  Connection()
      : started(sockets.StartSockets() == platform::SocketApi::Start::ok),
        handle(started ? sockets.CreateTcpSocket() : platform::kInvalidSocket) {}
  ~Connection() {
    if (handle != platform::kInvalidSocket) sockets.Close(handle);
    if (started) sockets.StopSockets();
  }
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  bool Connect(const std::string& address, std::uint16_t port) {
    if (handle == platform::kInvalidSocket) return false;
    sockets.SetTimeouts(handle, kTimeoutMs);
    sockets.SetNonBlocking(handle, true);
    const bool connected =
        sockets.Connect(handle, address.c_str(), port) ||
        (sockets.WaitWritable(handle, kTimeoutMs) == 1 && sockets.PendingError(handle) == 0);
    sockets.SetNonBlocking(handle, false);
    return connected;
  }
  // Empty when there is no answer.
  std::string Exchange(const std::string& message) {
    if (sockets.Send(handle, message.data(), message.size()) <= 0) return {};
    std::string answer(4096, '\0');
    const int received = sockets.Receive(handle, answer.data(), answer.size());
    answer.resize(received > 0 ? static_cast<std::size_t>(received) : 0);
    return answer;
  }

 private:
  platform::SocketApi& sockets = platform::SystemSockets();
  bool started;
  platform::SocketHandle handle;
};

// As the library logs in; the machine is not named, since the service does not need it to answer.
std::string LoginMessage(const std::string& applicationId, const ReaderIdentity& reader) {
  const std::string sdkVersion = "V" + std::to_string(IDCARDREADER_VERSION_MAJOR) + "." +
                                 std::to_string(IDCARDREADER_VERSION_MINOR);
  const nlohmann::ordered_json message = {
      {"appId", applicationId},     {"hardwareNumber", reader.authorizeCode},
      {"deviceNumber", "pcDevice"}, {"hardwareVersion", reader.version},
      {"sdkVersion", sdkVersion},   {"deviceName", "readcard"},
      {"deviceType", "readcard"},   {"type", "login"}};
  return message.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";
}

void CheckLogin(Connection& connection, const std::string& place, const std::string& applicationId,
                const ReaderIdentity& reader, Findings& findings) {
  const auto begin = steady_clock::now();
  const std::string answer = connection.Exchange(LoginMessage(applicationId, reader));
  const auto document = nlohmann::json::parse(answer, nullptr, false);
  const bool object = document.is_object();
  const std::string code = object && document.contains("code") && document["code"].is_string()
                               ? document["code"].get<std::string>()
                               : std::string();
  if (code == "00" && document.contains("token")) {
    findings.push_back({Level::ok, "service.login", kLogin, place + ", " + Since(begin)});
  } else if (answer.empty()) {
    findings.push_back({Level::fault,
                        "service.silent",
                        kLogin,
                        place,
                        {"The service does not answer the login (status code 50).",
                         "解码服务没有应答登录（状态码50）。"},
                        {"Check that this is the decode service's port, and ask its operator.",
                         "请确认这是解码服务的端口，并联系服务运营方。"}});
  } else {
    findings.push_back({Level::fault,
                        "service.refused",
                        kLogin,
                        place + (code.empty() ? "" : ", code " + code.substr(0, 8)),
                        {"The service refuses the login (status code 51): appid.dat "
                         "does not fit it, this reader or this machine.",
                         "解码服务拒绝登录（状态码51）：appid.dat与该服务、读卡器或本机不符。"},
                        {"Check appid.dat with the operator of the decode service.",
                         "请与解码服务运营方核对appid.dat。"}});
  }
}

}  // namespace

void CheckService(const std::vector<Endpoint>& endpoints, const std::string& applicationId,
                  const ReaderIdentity& reader, Findings& findings) {
  for (const Endpoint& endpoint : endpoints) {
    const std::string place = endpoint.host + ":" + std::to_string(endpoint.port);
    auto begin = steady_clock::now();
    std::string address = endpoint.host;
    if (!platform::IsDottedAddress(endpoint.host)) {
      address = LookUp(endpoint.host);
      if (address.empty()) {
        findings.push_back(
            {Level::fault,
             "service.name",
             kName,
             endpoint.host + ", " + Since(begin),
             {"The host name is not found (status code 29).", "找不到该主机名（状态码29）。"},
             {"Check the machine's name resolution (DNS) and hostport.dat.",
              "请检查本机的域名解析（DNS）和hostport.dat。"}});
        continue;
      }
      findings.push_back({Level::ok, "service.name", kName, endpoint.host + ", " + Since(begin)});
    }
    begin = steady_clock::now();
    Connection connection;
    if (!connection.Connect(address, endpoint.port)) {
      findings.push_back(
          {Level::fault,
           "service.connect",
           kConnection,
           place + ", " + Since(begin),
           {"Nobody answers at the address (status code 29).", "该地址无人应答（状态码29）。"},
           {"Check network and firewall, and whether the service runs.",
            "请检查网络和防火墙，以及解码服务是否在运行。"}});
      continue;
    }
    findings.push_back({Level::ok, "service.connect", kConnection, place + ", " + Since(begin)});
    if (!applicationId.empty() && !reader.authorizeCode.empty()) {
      CheckLogin(connection, place, applicationId, reader, findings);
    }
  }
}

}  // namespace readcard::doctor
