#pragma once

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "config/start_up.h"
#include "engine/link_holder.h"
#include "engine/read_state.h"
#include "engine/read_state_machine.h"
#include "platform/clock.h"
#include "platform/mutex.h"
#include "platform/socket.h"
#include "platform/threads.h"
#include "reader/card_reader.h"
#include "reader/reader_backend.h"
#include "support/logs.h"

namespace idcardreader {

// Where the engine meets the world outside.
struct EngineBackends {
  ReaderBackend& reader;
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
class ReaderEngine {
 public:
  explicit ReaderEngine(const EngineBackends& backends);
  ~ReaderEngine();
  ReaderEngine(const ReaderEngine&) = delete;
  ReaderEngine& operator=(const ReaderEngine&) = delete;

  // Prepares a read and opens the reader; false while a read is running.
  bool ReadInit();
  // Releases a blocked read, waits until no call uses the reader, ends the threads and closes
  // everything; the configuration stays and the next read starts anew.
  bool ExitEngine();
  // The same, and no read starts any more.
  void ExitForGood();
  // Reads one card: true when that succeeded. onSuccess fetches what was read before anybody else can
  // start something.
  bool ReadCardStartRead(const std::function<void()>& onSuccess = {});
  // Asks once whether a card lies on the reader, by the reader's automatic search.
  bool FindCard();
  void StopRead();

  // False when there is no service link to be told.
  bool SetLogging(bool on, bool detail);
  // False while a read is running.
  bool SetDeviceType(bool serial);
  void SetBeepOnSuccess(bool on) { machine.SetBeepOnSuccess(on); }

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
  CardReader::Info KnownReader() { return reader.Known(); }
  const std::string& HostDeviceCode() const { return hostDeviceCode; }
  std::string SerialDescription() { return Told().serialDescription; }

 private:
  // Returns the generation that follows, kNoRead when the one given was over.
  ReadGeneration SetError(std::int32_t code, ReadGeneration generation);
  // Both raise the code of a failure; without a generation that of a caller who does not read, which
  // is nobody's once a read has begun.
  bool Succeeded(const ReaderOutcome& outcome, ReadGeneration generation);
  bool Succeeded(const ReaderOutcome& outcome);
  bool PrepareSearch();
  bool SearchIsOn();
  bool SearchOnce();
  bool SwitchSearchOn(bool& found);

  StartUp Told();
  void LoadConfig(const HostNames::GivenUp& givenUp);
  void RecordServers(const StartUp& told, const HostNames::GivenUp& givenUp);

  bool Exit(ReadState::Shutdown kind);
  void EndAtLink(ReadGeneration generation);
  ReaderOutcome StartReadThread();
  void RunReadThread();
  ReaderOutcome OpenDevice(const AbandonTest& abandoned);
  AbandonTest OverTest(ReadGeneration generation);
  // For those who do not read: then the reader is not to be spoken to any more.
  AbandonTest ReadBegun();
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
  std::atomic<bool> cardReader_AutoOn = false;  // the card search
  std::atomic<bool> switchingSearchOn = false;

  platform::CSMutex startUpLock;
  StartUp startUp;                  // guarded by startUpLock
  ServiceSettings serviceSettings;  // likewise
  std::string hostDeviceCode;
  std::atomic<bool> logDetail = false;

  std::atomic<bool> lastReadFailed = false;
  platform::CSMutex readThreadLock;
  std::unique_ptr<platform::CSThread> readThread;  // guarded by it
};

}  // namespace idcardreader
