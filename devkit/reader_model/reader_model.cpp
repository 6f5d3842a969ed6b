#include "reader_model/reader_model.h"

#include <algorithm>

namespace devkit {
namespace {

// A system's queue for a HID device holds so many reports; further ones push the oldest out.
constexpr std::size_t kQueuedReports = 64;
// Answers carry more bytes than are asked for; none of them may be taken for data.
constexpr std::uint8_t kFiller = 0x5A;

Bytes Header(ByteView request, ReaderStatus status) {
  Bytes answer(kReportSize, 0);
  answer[0] = request[0];
  answer[1] = static_cast<std::uint8_t>(status);
  return answer;
}

Bytes WithData(ByteView request, ByteView data) {
  Bytes answer = Header(request, ReaderStatus::ok);
  std::copy(data.begin(), data.end(), answer.begin() + 2);
  return answer;
}

bool HoldsKey(ByteView request, const Bytes& key) {
  return std::equal(key.begin(), key.end(), request.begin() + 1);
}

const CardFile* FindFile(ByteView request) {
  const int length = request[2] << 8 | request[3];
  for (const CardFile& file : kCardFiles) {
    if (file.id == request[1] && file.length == length) return &file;
  }
  return nullptr;
}

bool FailsTransfer(const Fault& fault) {
  return fault.kind == FaultKind::io_error || fault.kind == FaultKind::unplug;
}

}  // namespace

ReaderIdentity StandardReaderIdentity() {
  return {{0x5D, 0x0E, 0x76, 0x1A, 0x4B, 0x90}, {0x02, 0x54}};
}

std::string_view RequestName(ByteView request) {
  for (const ReaderRequest& known : kReaderRequests) {
    if (request.size() >= known.length && request[0] == static_cast<std::uint8_t>(known.command) &&
        (!known.parameter || request[1] == *known.parameter)) {
      return known.name;
    }
  }
  return {};
}

ReaderModel::ReaderModel(ReaderIdentity readerIdentity) : identity(std::move(readerIdentity)) {}

void ReaderModel::PutCard(std::shared_ptr<const Card> newCard, Moment now) {
  card = std::move(newCard);
  cardFaults = card ? FaultBook(card->faults.reader) : FaultBook();
  progress = Progress::nothing;
  if (card && searchOn) Notify(now);
}

void ReaderModel::SetIdentity(ReaderIdentity readerIdentity) {
  identity = std::move(readerIdentity);
}

void ReaderModel::SetFaults(Section section) {
  faults = FaultBook(std::move(section));
  cardFaults = card ? FaultBook(card->faults.reader) : FaultBook();
}

void ReaderModel::SetPlugged(bool pluggedNow) {
  if (!pluggedNow) {
    Unplug(-1);
  } else {
    plugged = true;
  }
}

ReaderModel::Contact ReaderModel::Enumerate() {
  Contact contact;
  const Fault* fault = NextFault("enumerate");
  if (fault != nullptr && fault->kind == FaultKind::delay) contact.pause = fault->Time("ms");
  if (!plugged && enumerationsUntilBack >= 0) {
    if (enumerationsUntilBack == 0) plugged = true;
    --enumerationsUntilBack;
  }
  contact.there = plugged && (fault == nullptr || fault->kind != FaultKind::no_device);
  return contact;
}

ReaderModel::Contact ReaderModel::Open(Moment now) {
  Contact contact;
  const Fault* fault = NextFault("open");
  if (fault != nullptr && fault->kind == FaultKind::delay) contact.pause = fault->Time("ms");
  contact.there = plugged && (fault == nullptr || fault->kind != FaultKind::no_device);
  if (contact.there) {
    outputs.clear();  // nobody collects reports for a device that is not open
    if (fault != nullptr && fault->kind == FaultKind::stale) QueueStale(*fault, now);
  }
  return contact;
}

ReaderModel::Taken ReaderModel::Request(ByteView request, Moment now) {
  Taken taken;
  if (!plugged || request.empty()) {
    taken.ok = false;
    return taken;
  }
  const std::string_view name = RequestName(request);
  const Fault* writeFault = NextFault("write");
  const Fault* fault = name.empty() ? nullptr : NextFault(name);
  for (const Fault* failure : {writeFault, fault}) {
    if (failure == nullptr || !FailsTransfer(*failure)) continue;
    FailTransfer(*failure, now);
    taken.ok = failure->Text("on") == "read";
    return taken;
  }
  if (writeFault != nullptr && writeFault->kind == FaultKind::delay) {
    taken.pause = writeFault->Time("ms");
    now += taken.pause;
  }
  if (fault != nullptr && fault->kind == FaultKind::stale) QueueStale(*fault, now);

  if (request[0] == static_cast<std::uint8_t>(Command::file)) {
    QueueFile(name.empty() ? Bytes{} : FileBytes(request), name, fault, now);
    return taken;
  }
  // What is answered with a status is not done.
  const bool refused = name.empty() || (fault != nullptr && fault->kind == FaultKind::status);
  QueueAnswer(refused ? Header(request, ReaderStatus::refused) : Answer(request), name, fault, now);
  // Also when it was on: the one who switched it on before may have gone without a word.
  if (!refused && name == "search-on" && card) Notify(now);
  return taken;
}

std::optional<Moment> ReaderModel::NextDue() const {
  if (outputs.empty()) return std::nullopt;
  return outputs.front().due;
}

std::optional<ReaderOutput> ReaderModel::Take(Moment now) {
  if (outputs.empty() || outputs.front().due > now) return std::nullopt;
  ReaderOutput output = std::move(outputs.front());
  outputs.pop_front();
  return output;
}

const Fault* ReaderModel::NextFault(std::string_view at) {
  const Fault* fault = faults.Next(at);
  return fault != nullptr ? fault : cardFaults.Next(at);
}

std::chrono::microseconds ReaderModel::LatencyOf(std::string_view at) const {
  for (const std::string_view name : {at, std::string_view("report")}) {
    for (const FaultBook* book : {&faults, &cardFaults}) {
      if (const auto latency = book->Latency(name)) return *latency;
    }
  }
  return std::chrono::microseconds(0);
}

Bytes ReaderModel::Answer(ByteView request) {
  const bool identityCard = card && card->IsIdentityCard();
  switch (static_cast<Command>(request[0])) {
    case Command::search:
      searchOn = request[1] == 0x01;
      return Header(request, ReaderStatus::ok);
    case Command::dn: {
      progress = Progress::nothing;
      if (!identityCard) return Header(request, ReaderStatus::noCardAnswer);
      progress = Progress::dn_read;
      Bytes answer = WithData(request, card->dn);
      std::fill(answer.begin() + 2 + static_cast<std::ptrdiff_t>(card->dn.size()), answer.end(),
                kFiller);
      return answer;
    }
    case Command::inputKey:
      if (!identityCard) return Header(request, ReaderStatus::noCardAnswer);
      if (progress != Progress::dn_read) return Header(request, ReaderStatus::outOfOrder);
      if (!HoldsKey(request, card->inputKey)) return Header(request, ReaderStatus::refused);
      progress = Progress::input_key_accepted;
      return WithData(request, card->keyAnswer);
    case Command::outputKey:
      if (!identityCard) return Header(request, ReaderStatus::noCardAnswer);
      if (progress != Progress::input_key_accepted) {
        return Header(request, ReaderStatus::outOfOrder);
      }
      if (!HoldsKey(request, card->outputKey)) return Header(request, ReaderStatus::refused);
      progress = Progress::output_key_accepted;
      return Header(request, ReaderStatus::ok);
    case Command::uid:
      if (!identityCard) return Header(request, ReaderStatus::noCardAnswer);
      return WithData(request, card->uid);
    case Command::uidTypeA: {
      if (!card || identityCard) return Header(request, ReaderStatus::noCardAnswer);
      Bytes answer = Header(request, ReaderStatus::ok);
      answer[2] = 0x04;
      answer[3] = static_cast<std::uint8_t>(card->uid.size());
      std::copy(card->uid.begin(), card->uid.end(), answer.begin() + 4);
      return answer;
    }
    case Command::authorize:
      return WithData(request, identity.authorizeCode);
    case Command::version:
      return WithData(request, identity.version);
    case Command::beep:
      lastBeep = request[1];
      return Header(request, ReaderStatus::ok);
    case Command::file:
      break;
  }
  return Header(request, ReaderStatus::refused);
}

// The stream carries no status, so a file that may not be read is silence.
Bytes ReaderModel::FileBytes(ByteView request) const {
  const CardFile* file = FindFile(request);
  if (file == nullptr || !card || progress != Progress::output_key_accepted) return {};
  return card->files.at(file->id);
}

void ReaderModel::Spoil(const Fault& fault, Bytes& answer) {
  switch (fault.kind) {
    case FaultKind::wrong_echo:
      answer[0] = static_cast<std::uint8_t>(~answer[0]);
      break;
    case FaultKind::status: {
      const std::uint8_t echo = answer[0];
      std::fill(answer.begin(), answer.end(), std::uint8_t{0});
      answer[0] = echo;
      answer[1] = static_cast<std::uint8_t>(fault.Number("status"));
      break;
    }
    case FaultKind::kind:
      answer[1] = static_cast<std::uint8_t>(fault.Number("kind"));
      break;
    case FaultKind::wrong_layout:
      answer[2] = static_cast<std::uint8_t>(answer[2] ^ 0x0C);  // 8 becomes 4, 4 becomes 8
      break;
    case FaultKind::short_answer:
      answer.resize(
          std::min<std::size_t>(answer.size(), static_cast<std::size_t>(fault.Number("bytes"))));
      break;
    case FaultKind::corrupt:
      for (std::size_t i = 2; i < answer.size(); ++i) {
        answer[i] = static_cast<std::uint8_t>(answer[i] ^ 0x55);
      }
      break;
    case FaultKind::answer:
      answer = fault.Data("report");
      answer.resize(kReportSize, 0);
      break;
    default:
      break;
  }
}

void ReaderModel::FailTransfer(const Fault& fault, Moment now) {
  if (fault.kind == FaultKind::unplug) {
    Unplug(fault.Number("replug"));
  } else if (fault.Text("on") == "read") {
    Queue({now, ReaderOutput::Kind::io_error, {}});
  }
}

void ReaderModel::Unplug(int untilBack) {
  if (plugged) ++session;
  plugged = false;
  enumerationsUntilBack = untilBack;
  progress = Progress::nothing;
  searchOn = false;
  outputs.clear();
}

void ReaderModel::QueueStale(const Fault& fault, Moment now) {
  Bytes report = fault.Data("report");
  // Without a report of its own: an answer of another card to an earlier command.
  if (report.empty()) report = PatternBytes(7, "stale report", kReportSize);
  report.resize(kReportSize, 0);
  for (int i = 0; i < fault.Number("count"); ++i) {
    Queue({now, ReaderOutput::Kind::answer, report});
  }
}

void ReaderModel::Queue(ReaderOutput output) {
  const auto later =
      std::upper_bound(outputs.begin(), outputs.end(), output.due,
                       [](Moment due, const ReaderOutput& queued) { return due < queued.due; });
  outputs.insert(later, std::move(output));
  if (outputs.size() > kQueuedReports) outputs.pop_front();
}

Moment ReaderModel::NextFree(Moment now, std::chrono::microseconds latency) {
  lastDue = std::max(lastDue, now) + latency;
  return lastDue;
}

void ReaderModel::QueueAnswer(Bytes answer, std::string_view at, const Fault* fault, Moment now) {
  Moment due = NextFree(now, LatencyOf(at));
  if (fault != nullptr) {
    if (fault->kind == FaultKind::drop) return;
    if (fault->kind == FaultKind::delay || fault->kind == FaultKind::late) due += fault->Time("ms");
    Spoil(*fault, answer);
  }
  const int count =
      fault != nullptr && fault->kind == FaultKind::wrong_echo ? fault->Number("count") : 1;
  for (int i = 0; i < count; ++i) Queue({due, ReaderOutput::Kind::answer, answer});
}

void ReaderModel::QueueFile(const Bytes& content, std::string_view at, const Fault* fault,
                            Moment now) {
  Bytes stream = content;
  std::chrono::microseconds shift{0};
  std::size_t gapAfter = stream.size();
  std::chrono::microseconds gap{0};
  if (fault != nullptr) {
    switch (fault->kind) {
      case FaultKind::drop:
        return;
      case FaultKind::delay:
      case FaultKind::late:
        shift = fault->Time("ms");
        break;
      case FaultKind::gap:
        gap = fault->Time("ms");
        gapAfter = static_cast<std::size_t>(fault->Number("after"));
        break;
      case FaultKind::corrupt:
      case FaultKind::short_answer:
        Spoil(*fault, stream);
        break;
      default:
        break;
    }
  }
  for (std::size_t offset = 0; offset < stream.size(); offset += kFileBytesAReport) {
    const std::size_t count = std::min(kFileBytesAReport, stream.size() - offset);
    const auto first = stream.begin() + static_cast<std::ptrdiff_t>(offset);
    if (offset >= gapAfter) shift = std::max(shift, gap);
    Queue({NextFree(now, LatencyOf(at)) + shift, ReaderOutput::Kind::file_data,
           Bytes(first, first + static_cast<std::ptrdiff_t>(count))});
  }
}

void ReaderModel::Notify(Moment now) {
  Bytes report(kReportSize, 0);
  report[0] = static_cast<std::uint8_t>(Command::search);
  report[1] = card->IsIdentityCard() ? 16 : 4;
  report[2] = static_cast<std::uint8_t>(card->uid.size());
  std::copy(card->uid.begin(), card->uid.end(), report.begin() + 3);
  QueueAnswer(std::move(report), "notification", NextFault("notification"), now);
}

}  // namespace devkit
