#pragma once

#include <cstdint>
#include <string>

#include "platform/mutex.h"
#include "reader/reader_line.h"
#include "reader/reader_thread.h"
#include "support/card_read.h"

namespace idcardreader {

// The reader on the desk: opening and identifying it, and every command it knows. Nothing here
// raises a status code; the outcome says which one a failure has.
//
// Any thread may call; the operations are performed one after the other on the reader's own thread.
// Each that takes a test asks it when its turn has come: what has become pointless by then is not
// begun, since the next read may be at the reader already. What is known of the reader is guarded by
// infoLock, so that it can be asked for while an operation runs.
class CardReader {
 public:
  CardReader(ReaderBackend& backend, ActivityLog& log, platform::Clock& clock);
  ~CardReader();
  CardReader(const CardReader&) = delete;
  CardReader& operator=(const CardReader&) = delete;

  // The next OpenDevice that opens goes by it.
  void Configure(const ReaderSettings& configured);

  // Opens and identifies the reader, unless that is done; drops stale reports. newlyOpened tells
  // whether its codes were read now.
  ReaderOutcome OpenDevice(bool& newlyOpened, const AbandonTest& abandoned);
  void Close();
  // The next OpenDevice opens the other kind of reader.
  void UseSerialPort(bool serial);
  // The next OpenDevice drops what is on its way until then.
  void ExpectStaleReports();

  // The reader's 64-byte answer; its bytes 2 to 33 are the DN.
  ReaderOutcome ReadDn(Answer& answer, const AbandonTest& abandoned);
  ReaderOutcome WriteInputKey(const Block& key, Answer& answer, const AbandonTest& abandoned);
  // Leaves no key bytes in the buffers when it is done.
  ReaderOutcome WriteOutputKey(const Block& key, const AbandonTest& abandoned);
  ReaderOutcome ReadCardFile(CardFile file, Block& bytes, const AbandonTest& abandoned);
  ReaderOutcome getSfzCardUid(const AbandonTest& abandoned);
  ReaderOutcome ReadTypeACardUid(const AbandonTest& abandoned);
  // Nothing when no reader is open. The duration counts in units of 10 ms, its lowest 8 bits, at
  // least 1.
  ReaderOutcome beep(std::uint32_t milliseconds, const AbandonTest& abandoned);

  // Switches the reader's own search on. A card that it reports meanwhile is not taken for the
  // acknowledgement; notified tells of it.
  ReaderOutcome openAutoFindCard(bool& notified, const AbandonTest& abandoned);
  // Switches it off, if it is on.
  ReaderOutcome closeAutoFindCard(const AbandonTest& abandoned);
  bool SearchIsOn();
  // Waits up to a second for one report of the search; a card's sets notified. On a serial line that
  // happens only while the search is switched on.
  ReaderOutcome idReader_FindCard(bool& notified, const AbandonTest& abandoned);

  struct Info {
    std::uint32_t deviceStatus = 0;  // 1 opened, 3 lost
    std::string versionCode;
    std::string authorizeCode;
    std::uint32_t cardKind = 0;  // of the card seen last: 16 identity card, 4 with a 4-byte UID
    std::string cardUidHex;
  };
  Info Known();
  void ForgetCardKind();
  void ForgetCardUid();

 private:
  template <typename Operation>
  ReaderOutcome Perform(const AbandonTest& abandoned, Operation operation);

  // On the reader's thread:
  ReaderLine& Line();
  ReaderOutcome Identify(const AbandonTest& abandoned);
  ReaderOutcome ReadCode(const ReaderCommand& command, std::size_t size, std::string& code,
                         const AbandonTest& abandoned);
  void SetCommand(const ReaderCommand& command, BlockView parameters);
  ReaderOutcome writeAndReadData(const ReaderCommand& command, BlockView parameters,
                                 const AbandonTest& abandoned);
  ReaderOutcome SwitchSearch(bool on, bool& notified);
  ReaderOutcome Noted(ReaderOutcome outcome);
  bool KeepNotification(const Report& report);
  void KeepCard(std::uint32_t kind, BlockView uid);

  ActivityLog& log;
  platform::Clock& clock;

  // Used by the reader's thread alone.
  HidLine hidLine;
  SerialLine serialLine;
  ReaderRequest request;
  Report answerBuffer{};

  platform::CSMutex infoLock;
  ReaderSettings settings;
  bool useSerialPort = false;
  bool deviceReady = false;
  bool _isAutoFindCardOn = false;
  bool searchOnSerialPort = false;  // where it is on
  Info known;

  ReaderThread thread;  // last, so that it ends first
};

}  // namespace idcardreader
