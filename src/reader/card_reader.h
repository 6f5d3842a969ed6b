#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "config/reader_settings.h"
#include "platform/clock.h"
#include "platform/mutex.h"
#include "reader/card_notification.h"
#include "reader/hid_line.h"
#include "reader/reader_device.h"
#include "reader/reader_outcome.h"
#include "reader/reader_report.h"
#include "reader/serial_line.h"
#include "support/activity_log.h"
#include "support/card_block.h"

namespace idcardreader {

// The reader on the desk: opening and identifying it, and every command it knows. Nothing here
// raises a status code; the outcome says which one a failure has.
//
// deviceLock only serialises the operations: it is held while one of them runs. What is known of
// the reader is guarded by infoLock, so that it can be asked for while an operation runs.
class CardReader {
 public:
  CardReader(ReaderDoor& door, ActivityLog& log, platform::Clock& clock);

  void Configure(const ReaderSettings& settings);

  // Opens and identifies the reader, unless that is done; drops stale reports. newlyOpened tells
  // whether its codes were read now.
  ReaderOutcome OpenDevice(bool& newlyOpened);
  void Close();
  // Throws away what earlier commands left on its way, if one is known to have.
  void DropStaleReports();
  // The next OpenDevice opens the other kind of reader.
  void UseSerialPort(bool serial);
  bool IsOpen();
  // The next OpenDevice drops what is on its way until then.
  void ExpectStaleReports();

  // The reader's 64-byte answer; its bytes 2 to 33 are the DN.
  ReaderOutcome ReadDn(Answer& answer);
  // These three are asked for by the read thread, whose read may be over by the time they have the
  // reader: then they must not speak to it, since the next read may already have begun there.
  ReaderOutcome WriteInputKey(const Block& key, Answer& answer, const AbandonTest& abandoned);
  // Leaves no key bytes in the buffers when it is done.
  ReaderOutcome WriteOutputKey(const Block& key, const AbandonTest& abandoned);
  ReaderOutcome ReadCardFile(CardFile file, Block& bytes, const AbandonTest& abandoned);
  ReaderOutcome getSfzCardUid();
  ReaderOutcome ReadTypeACardUid();
  // The duration counts in units of 10 ms, its lowest 8 bits, at least 1.
  ReaderOutcome beep(std::uint32_t milliseconds);

  // Switches the reader's own search on. A card that it reports meanwhile is not taken for the
  // acknowledgement; notified tells of it.
  ReaderOutcome openAutoFindCard(bool& notified);
  ReaderOutcome closeAutoFindCard();
  bool SearchIsOn();
  // Waits up to a second for one report of the search: the kind that it names (255 too), 0 for
  // none, -1 for an error, -2 for a kind that there is not. report gets its 64 bytes; on a serial
  // line it stays zero.
  std::int32_t idReader_FindCard(Answer& report, ReaderOutcome& outcome);
  // Remembers a notified card as the one last seen; false for a report of another layout.
  bool KeepNotification(BlockView report);
  void ForgetCardKind();

  void ForgetCardUid();

  std::string VersionCode();
  std::string AuthorizeCode();
  std::string CardUidHex();
  std::uint32_t CardKind();
  std::uint32_t DeviceStatus();

 private:
  ReaderLine& Line();
  ReaderOutcome OpenHid();
  ReaderOutcome OpenSerial();
  bool UsesSerialPort();
  ReaderOutcome SwitchSearch(bool on, std::uint32_t timeoutMs, bool& notified);
  ReaderOutcome Identify();
  ReaderOutcome readAuthorizeCode();
  ReaderOutcome readVersion();
  ReaderOutcome ReadCode(ReaderCommand command, std::size_t size, std::string& code);
  void SetCommand(ReaderCommand command, BlockView parameters = {});
  ReaderOutcome writeAndReadData(std::uint32_t timeoutMs, std::size_t serialLength);
  ReaderOutcome EvaluateStatus();
  ReaderOutcome Noted(ReaderOutcome outcome);
  void KeepUid(std::uint32_t kind, std::size_t offset, std::size_t size);

  ActivityLog& log;
  platform::Clock& clock;

  platform::CSMutex deviceLock;
  ReaderDoor& door;
  HidLine hidLine;
  SerialLine serialLine;
  Report commandBuffer{};
  Report answerBuffer{};
  std::uint16_t vendorId = 0;
  std::uint16_t productId = 0;
  std::uint32_t serialPortNumber = 0;
  std::string serialPortName;
  std::uint32_t baud = 0;

  platform::CSMutex infoLock;
  bool useSerialPort = false;
  bool deviceReady = false;
  std::uint32_t deviceStatus = 0;
  std::string versionCode;
  std::string authorizeCode;
  bool _isAutoFindCardOn = false;
  std::uint32_t cardKind = 0;
  std::string cardUidHex;
};

}  // namespace idcardreader
