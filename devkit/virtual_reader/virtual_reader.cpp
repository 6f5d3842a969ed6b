#include "virtual_reader/virtual_reader.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <thread>

#include "base/json_file.h"

namespace devkit {
namespace {

using Clock = std::chrono::steady_clock;
constexpr std::size_t kRequestSize = 1 + kReportSize;  // with the report id
// How soon a card that is put on the desk is noticed while somebody waits for one.
constexpr std::chrono::milliseconds kDeskPause(20);

}  // namespace

VirtualReader::VirtualReader(const std::filesystem::path& path, HostProcess host)
    : deskFile(path), journal(path.parent_path() / (path.filename() += ".journal"), host) {}

void VirtualReader::Announce() const {
  const std::u8string name = deskFile.Path().u8string();
  Note("at work: what is read now comes from " + std::string(name.begin(), name.end()) +
       " and from no reader");
}

bool VirtualReader::Enumerate(unsigned short& vendorId, unsigned short& productId) {
  std::unique_lock lock(mutex);
  LookAtDesk();
  if (!Matches(vendorId, productId)) return false;
  const ReaderModel::Contact contact = reader.Enumerate();
  vendorId = desk.vendorId;
  productId = desk.productId;
  journal.Searched("enumerate", contact.there);
  lock.unlock();
  std::this_thread::sleep_for(contact.pause);
  return contact.there;
}

int VirtualReader::Open(unsigned short vendorId, unsigned short productId) {
  std::unique_lock lock(mutex);
  LookAtDesk();
  if (!Matches(vendorId, productId)) return 0;
  const ReaderModel::Contact contact = reader.Open(Clock::now());
  const int handle = contact.there ? nextHandle++ : 0;
  if (handle != 0) handles[handle].session = reader.SessionNumber();
  journal.Searched("open", handle != 0);
  lock.unlock();
  std::this_thread::sleep_for(contact.pause);
  return handle;
}

int VirtualReader::Write(int handle, const unsigned char* report, std::size_t length) {
  std::unique_lock lock(mutex);
  LookAtDesk();
  if (LiveHandle(handle) == nullptr) return -1;
  if (length != kRequestSize || report[0] != 0) {
    Note("a request of " + std::to_string(length) + " bytes with report id " +
         std::to_string(length > 0 ? report[0] : -1) + " was refused");
    return -1;
  }
  journal.Requested({report + 1, length - 1});
  const ReaderModel::Taken taken = reader.Request({report + 1, length - 1}, Clock::now());
  if (!taken.ok) journal.TransferFailed();
  changed.notify_all();
  lock.unlock();
  std::this_thread::sleep_for(taken.pause);
  return taken.ok ? static_cast<int>(length) : -1;
}

int VirtualReader::Read(int handle, unsigned char* data, std::size_t length, int milliseconds) {
  const bool endless = milliseconds < 0;
  const Moment deadline = Clock::now() + std::chrono::milliseconds(std::max(milliseconds, 0));
  std::unique_lock lock(mutex);
  for (;;) {
    if (reader.SearchOn()) LookAtDesk();
    Handle* const open = LiveHandle(handle);
    if (open == nullptr) return -1;
    if (open->reading == nullptr) open->reading = ThreadLife::OfThisThread();
    const Moment now = Clock::now();
    if (Cancelled(*open)) {
      open->reading.reset();
      return -1;
    }
    if (const auto output = reader.Take(now)) {
      open->reading.reset();
      return Deliver(*output, data, length);
    }
    if (!endless && now >= deadline) return 0;

    std::optional<Moment> wake;
    if (!endless) wake = deadline;
    if (const auto due = reader.NextDue()) wake = std::min(wake.value_or(*due), *due);
    if (reader.SearchOn()) wake = std::min(wake.value_or(now + kDeskPause), now + kDeskPause);
    if (wake) {
      changed.wait_until(lock, *wake);
    } else {
      changed.wait(lock);
    }
  }
}

void VirtualReader::Close(int handle) {
  const std::lock_guard lock(mutex);
  if (const Handle* open = LiveHandle(handle); open != nullptr && open->reading != nullptr &&
                                               !open->reading->HasEnded() &&
                                               open->reading != ThreadLife::OfThisThread()) {
    Note("the device was closed while a read of another thread was under way");
  }
  if (handles.erase(handle) != 0) journal.Closed();
  changed.notify_all();
}

void VirtualReader::LookAtDesk() {
  const std::optional<DeskState> state = deskFile.Look();
  if (const std::string complaint = deskFile.TakeComplaint(); !complaint.empty()) {
    Note(complaint);
  }
  if (!state) return;
  Apply(*state, desk.presentation, reader, Clock::now());
  desk = *state;
  journal.Switch(desk.journal);
  changed.notify_all();
}

void VirtualReader::Note(const std::string& text) const {
  std::fprintf(stderr, "virtual reader: %s\n", text.c_str());
  std::filesystem::path file = deskFile.Path();
  file += ".log";
  std::ofstream(file, std::ios::app) << text << '\n';
}

bool VirtualReader::Matches(unsigned short vendorId, unsigned short productId) const {
  return (vendorId == 0 || vendorId == desk.vendorId) &&
         (productId == 0 || productId == desk.productId);
}

VirtualReader::Handle* VirtualReader::LiveHandle(int number) {
  const auto found = handles.find(number);
  return found != handles.end() && reader.Alive(found->second.session) ? &found->second : nullptr;
}

// What was there when the thread ended had completed the read.
bool VirtualReader::Cancelled(const Handle& handle) const {
  if (!handle.reading->HasEnded()) return false;
  const auto due = reader.NextDue();
  return !due || *due > handle.reading->End();
}

int VirtualReader::Deliver(const ReaderOutput& output, unsigned char* data, std::size_t length) {
  journal.Delivered(output);
  if (output.kind == ReaderOutput::Kind::io_error) return -1;
  Bytes report = output.bytes;
  // The line carries whole reports only; what follows the file's bytes in one is of no meaning and
  // must not be taken for file data.
  if (output.kind == ReaderOutput::Kind::file_data) report.resize(kReportSize, 0xEE);
  const std::size_t count = std::min(length, report.size());
  std::memcpy(data, report.data(), count);
  return static_cast<int>(count);
}

}  // namespace devkit
