#pragma once

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "config/start_up.h"
#include "engine/auto_search.h"
#include "engine/link_holder.h"
#include "engine/read_state.h"
#include "engine/read_state_machine.h"
#include "engine/status_sink.h"
#include "platform/clock.h"
#include "platform/mutex.h"
#include "platform/socket.h"
#include "platform/threads.h"
#include "reader/card_reader.h"
#include "reader/reader_device.h"
#include "support/logs.h"

namespace idcardreader {

// Where the engine meets the world outside.
struct EngineDoors {
  ReaderDoor& reader;
  platform::SocketApi& sockets;
  platform::Clock& clock;
  std::filesystem::path executableFolder;   // of conf.yaml
  std::filesystem::path libraryFolder;      // of the data files, and of conf.yaml in its stead
  const Dialect& dialect = TokenDialect();  // with the service; the library speaks no other
  // Asked while the engine is made, which otherwise waits for its service's names.
  HostNames::GivenUp givenUp = [] { return false; };
};

// The one object behind every export: configuration, reader, read thread, service link, the record
// of the card and the last error. Any thread may call it.
class ReaderEngine : private StatusSink, private AutoSearch::Host {
 public:
  explicit ReaderEngine(const EngineDoors& doors);
  ~ReaderEngine() override;
  ReaderEngine(const ReaderEngine&) = delete;
  ReaderEngine& operator=(const ReaderEngine&) = delete;

  // Prepares a read and opens the reader; false while a read is running.
  bool ReadInit();
  // Releases a blocked read, waits until no call uses the reader, ends the threads and closes
  // everything; the configuration stays and the next read starts anew.
  bool ExitEngine();
  // The same, and no read starts any more.
  void ExitForGood();
  // Reads one card: true when that succeeded. autoMode asks for the automatic search instead.
  // onSuccess fetches what was read before anybody else can start something.
  bool ReadCardStartRead(bool autoMode, const std::function<void()>& onSuccess = {});
  void StopRead();

  // False when there is no service link to be told.
  bool SetLogging(bool on, bool detail);
  // False while a read is running.
  bool SetDeviceType(bool serial);
  void SetBeepOnSuccess(bool on);

  // Empty when there is no card, no reader, or a read is running.
  std::string GetCardUid(std::int32_t mode);
  // Sounds the reader, if it is open and no read is running.
  void Beep(std::uint32_t milliseconds);

  std::string GetLastErrorText();
  std::string GetResultText(ResultItem item) { return state.GetResultText(item); }
  bool GetResultBytes(ResultItem item, std::vector<std::uint8_t>& bytes) {
    return state.GetResultBytes(item, bytes);
  }
  std::string DnHex() { return state.DnHex(); }
  std::string VersionCode() { return reader.VersionCode(); }
  std::string AuthorizeCode() { return reader.AuthorizeCode(); }
  const std::string& HostDeviceCode() const { return hostDeviceCode; }
  std::string SerialDescription() { return Told().serialDescription; }
  std::uint32_t DeviceStatus() { return reader.DeviceStatus(); }
  std::uint32_t CardKind() { return reader.CardKind(); }

 private:
  ReadGeneration SetError(std::int32_t code, ReadGeneration generation) override;
  // Of a caller who does not read: nothing once a read has begun.
  bool Raised(const ReaderOutcome& outcome);
  bool PrepareSearch() override;
  void RaiseSearchFailure(const ReaderOutcome& outcome) override { Raised(outcome); }
  bool ReadHasBegun() override { return state.ReadRunning(); }

  StartUp Told();
  void LoadConfig(const HostNames::GivenUp& givenUp);
  void RecordEndpoints(const ReaderSettings& settings, const HostNames::GivenUp& givenUp);

  bool Exit(ReadState::Shutdown kind);
  void EndAtLink(ReadGeneration generation);
  ReaderOutcome StartReadThread();
  void RunReadThread();
  ReaderOutcome OpenDevice(const AbandonTest& abandoned);
  bool FindCard();
  bool ReadCard(const std::function<void()>& onSuccess);
  AbandonTest OverTest(ReadGeneration generation);
  bool StartStep(ReadGeneration generation);
  bool StartService(DecodeServerLink& link, ReadGeneration generation);
  bool ReadDn(ReadGeneration generation, Answer& answer);

  platform::Clock& clock;
  const std::filesystem::path executableFolder;
  const std::filesystem::path libraryFolder;

  ActivityLog log;
  ReadState state;
  LinkHolder links;
  CardReader reader;
  ReadStateMachine machine;
  AutoSearch search;

  platform::CSMutex startUpLock;
  StartUp startUp;  // guarded by startUpLock
  std::string hostDeviceCode;
  std::atomic<bool> logDetail = false;

  std::atomic<bool> lastReadFailed = false;
  platform::CSMutex readThreadLock;
  std::unique_ptr<platform::CSThread> readThread;  // guarded by it
};

}  // namespace idcardreader
