#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "config/service_settings.h"
#include "platform/clock.h"
#include "platform/dynamic_library.h"
#include "platform/event.h"
#include "platform/mutex.h"
#include "platform/socket.h"
#include "platform/thread.h"
#include "service/decode_transaction.h"
#include "service/event_table.h"
#include "service/host_names.h"
#include "service/link_command.h"
#include "service/socket_transport.h"
#include "support/activity_log.h"

namespace idcardreader {

// The connection to the decode service: a thread of its own performs the exchanges that are asked
// for and files what they bring. Reads are told apart by their generation.
//
// Two locks: linkLock guards queue, table, settings and state and is never held during I/O;
// exchangeLock only serialises the use of the socket. Taken together, exchangeLock comes first.
class DecodeServerLink {
 public:
  DecodeServerLink(platform::SocketApi& sockets, HostNames& hostNames, platform::Clock& clock);
  // Ends the client thread; an exchange under way is cut off.
  ~DecodeServerLink();
  DecodeServerLink(const DecodeServerLink&) = delete;
  DecodeServerLink& operator=(const DecodeServerLink&) = delete;

  // Writes a setting by its item number (19 to 27); unknown ones are accepted without effect.
  void SetSetting(std::int32_t item, std::string_view text);
  // Reachable from the library's own code only: the shipped library speaks the token dialect.
  void SetTokenProtocol(bool on);

  // Begins a read: drops whatever an earlier one has left, connects anew to the first server that
  // answers, starts the client thread if there is none. Runs on the caller's thread, for two
  // connects and one look-up of their names at most, after the exchange under way has been cut off;
  // the end of the read, or the beginning of a later one, ends it within 100 ms.
  bool ServerInit(ReadGeneration generation);
  // ServerInit has succeeded for this read, and the client thread works.
  bool Started(ReadGeneration generation);
  // Drops what is queued and to come for this read.
  void EndRead(ReadGeneration generation);
  // The next read has to log in first.
  bool LoginNeeded();

  void PostCommand(ReadGeneration generation, std::int32_t item, std::string text,
                   Block block = {});
  std::string TakeEvent(ReadGeneration generation, std::int32_t item);
  Block TakeKey(ReadGeneration generation, std::int32_t item);
  // The text of the oldest failure, whatever read it belongs to; empty when there is none.
  std::string TakeFailureText();

 private:
  class ReadSink;

  bool ConnectToEitherServer(ReadGeneration generation);
  bool InitSocket(std::size_t mode, ReadGeneration generation);
  std::vector<ServerEndpoint> ResolvedServers(ReadGeneration generation);
  bool StartClientThread(ReadGeneration generation);
  bool LoadPhotoLibrary();
  void RunClient();
  bool TakeCommand(LinkCommand& command);
  void Perform(const LinkCommand& command);
  void ReportFailure(ReadGeneration generation, std::int32_t code, std::string_view detail,
                     std::string_view answer);
  bool IsCurrent(ReadGeneration generation);
  std::function<bool()> Over(ReadGeneration generation);

  HostNames& hostNames;
  platform::Clock& clock;
  ActivityLog traceLog;
  platform::Event wakeEvent;

  platform::CSMutex exchangeLock;
  SocketTransport transport;
  bool newTransport = true;

  platform::CSMutex linkLock;
  ServiceSettings settings;
  bool tokenProtocol = true;
  bool stop = false;
  ReadGeneration currentRead = kNoRead;
  ReadGeneration startedRead = kNoRead;
  ReadGeneration failedRead = kNoRead;
  ReadGeneration lastEndedRead = kNoRead;
  std::deque<LinkCommand> commandQueue;
  EventTable events;
  LoginState login;
  std::unique_ptr<platform::CSThread> clientThread;

  // Used by the thread inside ServerInit alone.
  bool initialised = false;
  std::unique_ptr<platform::DynamicLibrary> photoLibrary;
};

}  // namespace idcardreader
