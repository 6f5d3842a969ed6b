#include "world/fuzzed_reader.h"

#include <algorithm>

#include "stand_ins/threads.h"

namespace fuzz {
namespace {

constexpr std::size_t kReportSize = 64;
constexpr char kSearch = 0x01;
constexpr char kReadFile = 0x0B;
constexpr char kUidTypeA = 0x0D;

std::string Report(std::string text) {
  text.resize(kReportSize, '\x2A');
  return text;
}

std::string Notification(std::uint8_t kind, std::uint8_t size) {
  return Report({kSearch, static_cast<char>(kind), static_cast<char>(size)});
}

std::string GoodAnswer(char command) {
  return Report(command == kUidTypeA ? std::string{command, 0, 4, 4} : std::string{command, 0});
}

}  // namespace

class FuzzedReader::Device : public idcardreader::ReaderDevice {
 public:
  explicit Device(FuzzedReader& reader) : reader(reader) {}
  int Write(const std::uint8_t* data, std::size_t count) override {
    const bool taken = reader.Take({data + 1, data + count});
    return taken ? static_cast<int>(count) : -1;
  }
  int Read(std::uint8_t* data, std::size_t capacity, std::uint32_t timeoutMs) override {
    return reader.Give(data, capacity, timeoutMs);
  }

 private:
  FuzzedReader& reader;
};

class FuzzedReader::Port : public idcardreader::ReaderDevice {
 public:
  explicit Port(FuzzedReader& reader) : reader(reader) {}
  int Write(const std::uint8_t* data, std::size_t count) override {
    return reader.Take({data, data + count}) ? static_cast<int>(count) : -1;
  }
  int Read(std::uint8_t* data, std::size_t capacity, std::uint32_t timeoutMs) override {
    const int count = reader.Give(data, capacity, timeoutMs);
    return count > 0 ? count : -1;
  }

 private:
  FuzzedReader& reader;
};

idcardreader::ReaderOutcome FuzzedReader::OpenHid(
    std::uint16_t, std::uint16_t, std::unique_ptr<idcardreader::ReaderDevice>& device) {
  using idcardreader::ReaderOutcome;
  const std::size_t choice = script.Choice(3);
  if (choice == 1) return ReaderOutcome::Failed(idcardreader::ERRORT_NoReader);
  if (choice == 2) return ReaderOutcome::Failed(idcardreader::ERRORT_ReaderNotOpened);
  device = std::make_unique<Device>(*this);
  return {};
}

idcardreader::ReaderOutcome FuzzedReader::OpenSerial(
    const std::string&, std::uint32_t, std::unique_ptr<idcardreader::ReaderDevice>& device) {
  using idcardreader::ReaderOutcome;
  if (script.Choice(3) != 0) return ReaderOutcome::Failed(idcardreader::ERRORT_SerialPort);
  device = std::make_unique<Port>(*this);
  return {};
}

bool FuzzedReader::Take(const std::string& command) {
  if (const std::size_t threads = script.Choice(8); threads > 4) RunThread(threads);
  const std::size_t before = reports.size();
  switch (script.Choice(12)) {
    case 1:
      return false;
    case 2:
      reports.emplace_back();
      return true;
    case 3:  // silence
      return true;
    case 4:  // a status
      reports.push_back(Report({command[0], static_cast<char>(script.Byte())}));
      return true;
    case 5:
      reports.push_back(Report(script.ShortText()));
      return true;
    case 6:  // a report that is no whole one
      Answer(command);
      reports[before].resize(1 + script.Choice(reports[before].size()));
      return true;
    case 7: {  // an answer to another command comes first
      const char other = static_cast<char>(script.Byte());
      reports.push_back(GoodAnswer(other));
      break;
    }
    case 8: {  // a card is reported meanwhile
      const std::uint8_t kind = script.Byte();
      reports.push_back(Notification(kind, script.Byte()));
      break;
    }
    case 9:
      Answer(command);
      break;
    case 10:  // the card's file breaks off
      Answer(command);
      reports.resize(before + script.Choice(reports.size() - before) + 1);
      return true;
    case 11:
      Answer(command);
      reports.push_back(Notification(16, 8));
      return true;
    default:
      break;
  }
  Answer(command);
  return true;
}

int FuzzedReader::Give(std::uint8_t* data, std::size_t capacity, std::uint32_t timeoutMs) {
  if (reports.empty()) {
    clock.Spend(timeoutMs);
    return 0;
  }
  const std::string report = std::move(reports.front());
  reports.pop_front();
  if (report.empty()) return -1;
  const std::size_t count = std::min(capacity, report.size());
  std::copy_n(report.begin(), count, data);
  return static_cast<int>(count);
}

void FuzzedReader::Answer(const std::string& command) {
  if (command[0] != kReadFile || command.size() < 4) {
    reports.push_back(GoodAnswer(command[0]));
    return;
  }
  const std::size_t length =
      static_cast<std::uint8_t>(command[2]) * 256U + static_cast<std::uint8_t>(command[3]);
  for (std::size_t sent = 0; sent < length; sent += 60) reports.push_back(Report({}));
}

}  // namespace fuzz
