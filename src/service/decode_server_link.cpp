#include "service/decode_server_link.h"

#include <algorithm>
#include <cstdlib>
#include <mutex>
#include <utility>

#include "platform/code_page.h"
#include "support/status_codes.h"
#include "support/text_log.h"
#include "support/utf8.h"

namespace idcardreader {
namespace {

constexpr char kLinkName[] = "Server";

void Dispatch(DecodeTransaction& transaction, const LinkCommand& command) {
  switch (command.item) {
    case kItemHeartbeat:
      transaction.InitDecodeChannel();
      break;
    case kItemDn:
      transaction.UploadDN(command.block);
      break;
    case kItemInputKey:
      transaction.UploadOutputKey(command.block);
      break;
    case kItemSector11:
      transaction.UploadSector11Data(command.block);
      break;
    case kItemSector12:
      transaction.UploadSector12Data(command.block);
      break;
    case kItemSector13:
      transaction.UploadSector13Data(command.block);
      break;
    case kItemSector21:
      transaction.UploadSector21Data(command.block);
      break;
    case kItemLogin:
      transaction.Login();
      break;
    default:
      break;
  }
}

}  // namespace

// Files for one read, as long as that is the current one.
class DecodeServerLink::ReadSink : public ExchangeSink {
 public:
  ReadSink(DecodeServerLink& link, ReadGeneration generation)
      : link(link), generation(generation) {}

  bool Tracing() const override { return link.traceLog.On(); }

  void Trace(std::string_view text) override { link.traceLog.Log(text); }

  void FileKey(std::int32_t item, const Block& key) override {
    const std::lock_guard guard(link.linkLock);
    if (link.currentRead == generation) {
      link.events.FileKey(item, key, item == kItemInputKey ? "INPUTKEY" : "OUTPUTKEY");
    }
  }

  void FileContent(const std::vector<std::pair<std::int32_t, std::string>>& entries) override {
    const std::lock_guard guard(link.linkLock);
    if (link.currentRead != generation) {
      return;
    }
    for (const auto& [item, text] : entries) {
      link.events.File(item, text);
    }
  }

  void FileDone() override {
    const std::lock_guard guard(link.linkLock);
    if (link.currentRead == generation) {
      link.events.File(kItemDone, "Done-Server");
    }
  }

  void ReportFailure(std::int32_t code, std::string_view detail, std::string_view answer) override {
    link.ReportFailure(generation, code, detail, answer);
  }

 private:
  DecodeServerLink& link;
  const ReadGeneration generation;
};

DecodeServerLink::DecodeServerLink(platform::SocketApi& sockets, HostNames& hostNames,
                                   platform::Clock& clock)
    : hostNames(hostNames),
      clock(clock),
      traceLog(kLinkName, clock),
      wakeEvent(kLinkName),
      transport(sockets) {}

DecodeServerLink::~DecodeServerLink() {
  {
    const std::lock_guard guard(linkLock);
    stop = true;
    currentRead = kNoRead;
  }
  wakeEvent.Set();
  transport.Shutdown();
  if (clientThread != nullptr) {
    clientThread->Join();
  }
}

void DecodeServerLink::SetSetting(std::int32_t item, std::string_view text) {
  if (item == kItemLogSwitch) {
    traceLog.Switch(std::atoi(std::string(text).c_str()) != 0);
    return;
  }
  const std::lock_guard guard(linkLock);
  settings.Apply(item, text);
}

void DecodeServerLink::SetTokenProtocol(bool on) {
  const std::lock_guard guard(linkLock);
  tokenProtocol = on;
}

bool DecodeServerLink::ServerInit(ReadGeneration generation) {
  {
    const std::lock_guard guard(linkLock);
    if (generation <= lastEndedRead) {
      return false;
    }
    lastEndedRead = generation - 1;
    startedRead = kNoRead;
    currentRead = generation;
    commandQueue.clear();
  }
  traceLog.Log("Server Init Begin");
  transport.Shutdown();
  const std::lock_guard exchangeGuard(exchangeLock);
  {
    const std::lock_guard guard(linkLock);
    events.Clear();
    failedRead = kNoRead;
  }
  if (!ConnectToEitherServer(generation) || !StartClientThread(generation) ||
      !(initialised || LoadPhotoLibrary())) {
    return false;
  }
  initialised = true;
  traceLog.Log("Server Init End");
  const std::lock_guard guard(linkLock);
  startedRead = generation;
  return true;
}

bool DecodeServerLink::Started(ReadGeneration generation) {
  const std::lock_guard guard(linkLock);
  return startedRead == generation && clientThread != nullptr && clientThread->Running();
}

void DecodeServerLink::EndRead(ReadGeneration generation) {
  const std::lock_guard guard(linkLock);
  lastEndedRead = std::max(lastEndedRead, generation);
  if (currentRead == generation) {
    currentRead = kNoRead;
    commandQueue.clear();
  }
}

bool DecodeServerLink::LoginNeeded() {
  const std::lock_guard guard(linkLock);
  return tokenProtocol && !login.loggedIn;
}

void DecodeServerLink::PostCommand(ReadGeneration generation, std::int32_t item, std::string text,
                                   Block block) {
  {
    const std::lock_guard guard(linkLock);
    if (currentRead != generation || failedRead == generation) {
      return;
    }
    commandQueue.push_back({generation, item, std::move(text), std::move(block)});
  }
  wakeEvent.Set();
}

std::string DecodeServerLink::TakeEvent(ReadGeneration generation, std::int32_t item) {
  const std::lock_guard guard(linkLock);
  return currentRead == generation ? events.Take(item) : std::string();
}

Block DecodeServerLink::TakeKey(ReadGeneration generation, std::int32_t item) {
  const std::lock_guard guard(linkLock);
  return currentRead == generation ? events.TakeKey(item) : Block();
}

std::string DecodeServerLink::TakeFailureText() {
  const std::lock_guard guard(linkLock);
  return events.Take(kItemOldestFailure);
}

bool DecodeServerLink::ConnectToEitherServer(ReadGeneration generation) {
  // A read that was stopped meanwhile does not wait for the second server too.
  return InitSocket(1, generation) || (IsCurrent(generation) && InitSocket(2, generation));
}

bool DecodeServerLink::InitSocket(std::size_t mode, ReadGeneration generation) {
  traceLog.Log("InitSocket");
  if (std::exchange(newTransport, false)) {
    traceLog.Log("Socket New");
  }
  traceLog.Log("Socket Close");
  transport.CloseSocket();
  traceLog.Log("Socket Init");
  if (!transport.CreateSocket()) {
    if (mode == 2) {
      traceLog.Log("InitSocket fail!***");
      ReportFailure(generation, ERRORT_SocketInit, {}, {});
    }
    return false;
  }
  std::uint32_t timeoutMs = 0;
  {
    const std::lock_guard guard(linkLock);
    timeoutMs = settings.SocketTimeout();
  }
  transport.SetSocketOptions(timeoutMs);
  const std::vector<ServerEndpoint> servers = ResolvedServers(generation);
  if (servers.size() < mode) {
    return false;
  }
  const ServerEndpoint& server = servers[mode - 1];
  transport.SetServer(server.host, server.port);
  const bool connected = transport.ConnectServer(Over(generation));
  traceLog.Log("SER " + std::to_string(mode) + (connected ? " sucess" : " fail") + server.host);
  return connected;
}

std::vector<ServerEndpoint> DecodeServerLink::ResolvedServers(ReadGeneration generation) {
  std::vector<ServerEndpoint> configured;
  {
    const std::lock_guard guard(linkLock);
    if (!settings.resolvedServers.empty()) {
      return settings.resolvedServers;
    }
    configured = settings.configuredServers;
  }
  traceLog.Log("Socket DNS Parse");
  if (!configured.empty()) {
    traceLog.Log("Socket DNS Parse 2");
  }
  std::vector<std::string> hosts;
  for (const ServerEndpoint& server : configured) {
    hosts.push_back(server.host);
  }
  const std::vector<std::string> addresses = hostNames.Resolve(hosts, Over(generation));
  std::vector<ServerEndpoint> resolved;
  for (std::size_t index = 0; index < addresses.size(); ++index) {
    if (!addresses[index].empty()) {
      resolved.push_back({addresses[index], configured[index].port});
    }
  }
  const std::lock_guard guard(linkLock);
  if (currentRead != generation) {
    return {};  // not all of them may have been found by then
  }
  if (settings.resolvedServers.empty()) {
    settings.resolvedServers = std::move(resolved);
  }
  return settings.resolvedServers;
}

bool DecodeServerLink::StartClientThread(ReadGeneration generation) {
  bool started = true;
  {
    const std::lock_guard guard(linkLock);
    if (clientThread == nullptr || !clientThread->Running()) {
      clientThread = std::make_unique<platform::CSThread>();
      started = clientThread->Start([this] { RunClient(); });
    }
  }
  if (!started) {
    ReportFailure(generation, ERRORT_ClientThread, {}, {});
  }
  return started;
}

bool DecodeServerLink::LoadPhotoLibrary() {
  auto library =
      platform::DynamicLibrary::Open(platform::DynamicLibraryFileName("DLL_File"),
                                     platform::DynamicLibrary::Dependencies::default_search);
  if (library != nullptr && library->Symbol("unpack") == nullptr) {
    return false;
  }
  photoLibrary = std::move(library);
  return true;
}

void DecodeServerLink::RunClient() {
  for (;;) {
    wakeEvent.Wait();  // ended by PostCommand and by the destructor
    {
      const std::lock_guard guard(linkLock);
      if (stop) {
        return;
      }
    }
    LinkCommand command;
    if (TakeCommand(command)) {
      Perform(command);
    }
  }
}

bool DecodeServerLink::TakeCommand(LinkCommand& command) {
  const std::lock_guard guard(linkLock);
  if (commandQueue.empty()) {
    return false;
  }
  command = std::move(commandQueue.front());
  commandQueue.pop_front();
  if (!commandQueue.empty()) {
    // Two posts during one exchange signal the event only once.
    wakeEvent.Set();
  }
  return true;
}

void DecodeServerLink::Perform(const LinkCommand& command) {
  const std::lock_guard exchangeGuard(exchangeLock);
  ServiceIdentity identity;
  LoginState loginState;
  Dialect dialect = Dialect::token;
  {
    const std::lock_guard guard(linkLock);
    if (currentRead != command.generation || failedRead == command.generation) {
      return;
    }
    identity = settings.identity;
    loginState = login;
    dialect = tokenProtocol ? Dialect::token : Dialect::device_code;
  }
  ReadSink sink(*this, command.generation);
  DecodeTransaction transaction(transport, sink, clock, dialect, identity, loginState);
  Dispatch(transaction, command);
  const std::lock_guard guard(linkLock);
  login = std::move(loginState);
}

void DecodeServerLink::ReportFailure(ReadGeneration generation, std::int32_t code,
                                     std::string_view detail, std::string_view answer) {
  if (!IsCurrent(generation)) {
    return;
  }
  // Logged first: once the failure is filed, the caller may wake and ask for the logged text.
  ErrorLog().Log(std::string(StatusText(code)).append(",").append(detail));
  if (!answer.empty()) {
    // Some services answer in GBK already.
    ErrorLog().Log(IsValidUtf8(answer) ? platform::Utf16ToGbk(platform::Utf8ToUtf16(answer))
                                       : std::string(answer));
  }
  const std::lock_guard guard(linkLock);
  if (currentRead != generation) {
    return;
  }
  failedRead = generation;
  events.AddFailure(code);
  events.File(kItemFail, "Fail");
  events.File(kItemDone, "Done-Server");
}

bool DecodeServerLink::IsCurrent(ReadGeneration generation) {
  const std::lock_guard guard(linkLock);
  return currentRead == generation;
}

std::function<bool()> DecodeServerLink::Over(ReadGeneration generation) {
  return [this, generation] { return !IsCurrent(generation); };
}

}  // namespace idcardreader
