#include "platform/installation.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <cstdio>
#include <fstream>
#include <string_view>
#include <system_error>

namespace idcardreader::platform {

namespace fs = std::filesystem;

namespace {

std::vector<fs::path> Entries(const fs::path& folder) {
  std::vector<fs::path> entries;
  std::error_code error;
  fs::directory_iterator entry(folder, error);
  for (; !error && entry != fs::directory_iterator(); entry.increment(error)) {
    entries.push_back(entry->path());
  }
  return entries;
}

bool IsProcess(const fs::path& folder) {
  const std::string name = folder.filename();
  return std::isdigit(static_cast<unsigned char>(name.front())) != 0 &&
         name != std::to_string(getpid());
}

}  // namespace

const char* HidApiFileName() { return "libhidapi-hidraw.so.0"; }

std::string FileVersion(const fs::path& library) {
  constexpr std::string_view kMark = ".so.";
  const std::string name = library.filename();
  const std::size_t mark = name.find(kMark);
  return mark == std::string::npos ? std::string() : name.substr(mark + kMark.size());
}

bool MayWriteInto(const fs::path& folder) { return access(folder.c_str(), W_OK | X_OK) == 0; }

std::vector<DeviceNode> HidDeviceNodes(std::uint16_t vendorId, std::uint16_t productId) {
  char wanted[40];
  std::snprintf(wanted, sizeof wanted, "HID_ID=0003:%08X:%08X", vendorId, productId);
  std::vector<DeviceNode> nodes;
  for (const fs::path& device : Entries("/sys/class/hidraw")) {
    std::ifstream description(device / "device" / "uevent");
    for (std::string line; std::getline(description, line);) {
      if (line != wanted) continue;
      const std::string node = "/dev/" + device.filename().string();
      nodes.push_back({node, access(node.c_str(), R_OK | W_OK) == 0});
    }
  }
  return nodes;
}

std::vector<std::string> ProcessesWithOpenFile(const std::string& path) {
  std::vector<std::string> names;
  std::error_code error;
  const fs::path wanted = fs::canonical(path, error);
  if (error) return names;
  for (const fs::path& process : Entries("/proc")) {
    if (!IsProcess(process)) continue;
    for (const fs::path& descriptor : Entries(process / "fd")) {
      if (fs::read_symlink(descriptor, error) != wanted) continue;
      std::string name;
      std::ifstream stream(process / "comm");
      std::getline(stream, name);
      names.push_back(name + " (" + process.filename().string() + ")");
      break;
    }
  }
  return names;
}

bool NamedEventExists(const char*) { return false; }

OutputState StandardOutputState() {
  struct stat status {};
  if (fstat(STDOUT_FILENO, &status) != 0) return OutputState::closed;
  if (!S_ISFIFO(status.st_mode) && !S_ISSOCK(status.st_mode)) return OutputState::read;
  pollfd output{STDOUT_FILENO, POLLOUT, 0};
  const bool ready = poll(&output, 1, 0) == 1 && (output.revents & POLLOUT) != 0 &&
                     (output.revents & (POLLERR | POLLHUP)) == 0;
  return ready ? OutputState::read : OutputState::unread;
}

}  // namespace idcardreader::platform
