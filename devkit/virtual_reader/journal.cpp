#include "virtual_reader/journal.h"

#include <fstream>
#include <utility>

#include "base/json_file.h"

namespace devkit {
namespace {

constexpr std::uintmax_t kLargestFile = 1'000'000;

bool IsNotification(const Bytes& report) {
  return report.size() > 1 && report[0] == static_cast<std::uint8_t>(Command::search) &&
         report[1] > 1;
}

std::int64_t MillisecondsSince1970() {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
}

}  // namespace

Journal::Journal(std::filesystem::path journalFile, HostProcess hostProcess)
    : file(std::move(journalFile)), host(hostProcess) {}

void Journal::Searched(std::string_view event, bool found) {
  if (on) Add({{"event", event}, {"found", found}});
}

void Journal::Closed() {
  if (!on) return;
  GiveUp();
  Add({{"event", "close"}});
}

void Journal::Requested(ByteView request) {
  if (!on) return;
  GiveUp();
  const std::string_view name = RequestName(request);
  pending = name.empty() ? "unknown" : name;
  wanted = pending.starts_with("file-") ? std::size_t{request[2]} << 8 | request[3] : 0;
  delivered = 0;
  status = -1;
  begin = Clock::now();
  Add({{"request", pending}, {"number", ++number}});
}

void Journal::Delivered(const ReaderOutput& output) {
  if (!on) return;
  if (output.kind == ReaderOutput::Kind::io_error) return TransferFailed();
  const bool isFile = output.kind == ReaderOutput::Kind::file_data;
  if (pending.empty() || isFile != (wanted != 0)) {
    Add({{"event", IsNotification(output.bytes) ? "notification" : "stray"},
         {"bytes", output.bytes.size()}});
    return;
  }
  delivered += output.bytes.size();
  if (!isFile && output.bytes.size() > 1) status = output.bytes[1];
  if (delivered >= wanted) Finish();
}

void Journal::TransferFailed() {
  if (!on) return;
  GiveUp();
  Add({{"event", "transfer-failed"}});
}

void Journal::GiveUp() {
  if (!pending.empty()) Finish();
}

void Journal::Finish() {
  const auto taken = std::chrono::duration<double, std::milli>(Clock::now() - begin);
  Json line = {{"request", std::exchange(pending, std::string())},
               {"number", number},
               {"ms", taken.count()},
               {"bytes", delivered}};
  if (wanted != 0) line["wanted"] = wanted;
  if (status >= 0) line["status"] = status;
  Add(line);
}

void Journal::Add(const Json& content) {
  if (!libraryTold && host.library != nullptr) {
    if (const std::filesystem::path library = host.library(); !library.empty()) {
      libraryTold = true;
      Add({{"library", PathText(library)}});
    }
  }
  Json line = {{"time", MillisecondsSince1970()}, {"process", host.number}};
  line.update(content);
  std::error_code error;
  const auto size = std::filesystem::file_size(file, error);
  const auto mode = !error && size > kLargestFile ? std::ios::trunc : std::ios::app;
  std::ofstream(file, std::ios::binary | mode)
      << line.dump(-1, ' ', false, Json::error_handler_t::replace) + '\n';
}

}  // namespace devkit
