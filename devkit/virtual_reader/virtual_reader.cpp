#include "virtual_reader/virtual_reader.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <thread>

namespace devkit {
namespace {

using Clock = std::chrono::steady_clock;
constexpr std::size_t kRequestSize = 1 + kReportSize;  // with the report id
// How soon a card that is put on the desk is noticed while somebody waits for one.
constexpr std::chrono::milliseconds kDeskPause(20);

}  // namespace

VirtualReader::VirtualReader(std::filesystem::path path) : deskFile(std::move(path)) {}

bool VirtualReader::Enumerate(unsigned short& vendorId, unsigned short& productId) {
  std::unique_lock lock(mutex);
  LookAtDesk();
  if (!Matches(vendorId, productId)) return false;
  const ReaderModel::Contact contact = reader.Enumerate();
  vendorId = desk.vendorId;
  productId = desk.productId;
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
  if (handle != 0) sessions[handle] = reader.SessionNumber();
  lock.unlock();
  std::this_thread::sleep_for(contact.pause);
  return handle;
}

int VirtualReader::Write(int handle, const unsigned char* report, std::size_t length) {
  std::unique_lock lock(mutex);
  LookAtDesk();
  if (!HandleAlive(handle)) return -1;
  if (length != kRequestSize || report[0] != 0) {
    std::fprintf(stderr, "virtual reader: a request of %zu bytes with report id %d was refused\n",
                 length, length > 0 ? report[0] : -1);
    return -1;
  }
  const ReaderModel::Taken taken = reader.Request({report + 1, length - 1}, Clock::now());
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
    if (!HandleAlive(handle)) return -1;
    const Moment now = Clock::now();
    if (const auto output = reader.Take(now)) return Deliver(*output, data, length);
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
  sessions.erase(handle);
  changed.notify_all();
}

void VirtualReader::LookAtDesk() {
  const std::optional<DeskState> state = deskFile.Look();
  if (const std::string complaint = deskFile.TakeComplaint(); !complaint.empty()) {
    std::fprintf(stderr, "virtual reader: %s\n", complaint.c_str());
  }
  if (!state) return;
  Apply(*state, desk.presentation, reader, Clock::now());
  desk = *state;
  changed.notify_all();
}

bool VirtualReader::Matches(unsigned short vendorId, unsigned short productId) const {
  return (vendorId == 0 || vendorId == desk.vendorId) &&
         (productId == 0 || productId == desk.productId);
}

bool VirtualReader::HandleAlive(int handle) const {
  const auto found = sessions.find(handle);
  return found != sessions.end() && reader.Alive(found->second);
}

int VirtualReader::Deliver(const ReaderOutput& output, unsigned char* data, std::size_t length) {
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
