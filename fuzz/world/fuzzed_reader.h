#pragma once

#include "base/script.h"
#include "reader/scripted_reader.h"
#include "world/virtual_clock.h"

namespace fuzz {

// A reader with a card on it, on a USB and on a serial line. With each command the script says
// whether it behaves.
class FuzzedReader : public idcardreader::ScriptedReader {
 public:
  FuzzedReader(fuzz::Script& script, VirtualClock& virtualClock) : script(script) {
    clock = &virtualClock;
    onWrite = [this](const Report& request) { return Answer(request); };
  }

  idcardreader::ReaderOutcome OpenHid(std::uint16_t vendorId, std::uint16_t productId,
                                      DevicePointer& device) override {
    constexpr std::int32_t kOutcomes[] = {0, idcardreader::ERRORT_NoReader,
                                          idcardreader::ERRORT_ReaderNotOpened};
    openFailure = kOutcomes[script.Choice(3)];
    return ScriptedReader::OpenHid(vendorId, productId, device);
  }
  idcardreader::ReaderOutcome OpenSerial(const std::string& portName, std::uint32_t baud,
                                         DevicePointer& device) override {
    openFailure = script.Choice(3) != 0 ? idcardreader::ERRORT_SerialPort : 0;
    return ScriptedReader::OpenSerial(portName, baud, device);
  }

 private:
  static Report Whole(Report report) {
    report.resize(64, 0x2A);
    return report;
  }

  Reports Answer(const Report& request) {
    if (const std::size_t threads = script.Choice(8); threads > 4) RunThread(threads);
    const std::size_t choice = script.Choice(12);
    writesFail = choice == 1;
    Reports reports = Usual(request);
    switch (choice) {
      case 1:
      case 3:  // silence
        return {};
      case 2:
        return {kLost};
      case 4:  // a status
        return {Whole({request[1], script.Byte()})};
      case 5: {
        const std::string text = script.ShortText();
        return {Whole({text.begin(), text.end()})};
      }
      case 6:  // a report that is no whole one
        reports[0].resize(1 + script.Choice(64));
        break;
      case 7:  // an answer to another command comes first
        reports.insert(reports.begin(), Whole({script.Byte(), 0}));
        break;
      case 8: {  // a card is reported meanwhile
        const std::uint8_t kind = script.Byte();
        reports.insert(reports.begin(), Whole({0x01, kind, script.Byte()}));
        break;
      }
      case 10:  // the card's file breaks off
        reports.resize(1 + script.Choice(reports.size()));
        break;
      case 11:
        reports.push_back(Whole({0x01, 16, 8}));
        break;
      default:
        break;
    }
    return reports;
  }

  fuzz::Script& script;
};

}  // namespace fuzz
