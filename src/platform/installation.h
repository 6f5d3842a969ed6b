#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace idcardreader::platform {

// What a look at an installation asks of the system. Nothing here changes anything.

// The file name of hidapi's library, as programs and the system's loader name it.
const char* HidApiFileName();

// The version that a library's file has: in its resources on Windows, in its name elsewhere. Empty
// when it has none.
std::string FileVersion(const std::filesystem::path& library);

// True when this user may make files in the folder.
bool MayWriteInto(const std::filesystem::path& folder);

// A device node that belongs to a USB HID device with these ids. None where the system has no nodes
// that a user may be shut out from.
struct DeviceNode {
  std::string path;
  bool allowed;  // for reading and writing, to this user
};
std::vector<DeviceNode> HidDeviceNodes(std::uint16_t vendorId, std::uint16_t productId);

// The names of the other processes that have this file open, as far as the system tells this user.
std::vector<std::string> ProcessesWithOpenFile(const std::string& path);

// True when some process has an event of this name. False where events have no names.
bool NamedEventExists(const char* name);

enum class OutputState { read, closed, unread };
// Whether somebody reads the standard output: not at all, or not any more when it is a pipe that is
// full or has nobody at its other end.
OutputState StandardOutputState();

}  // namespace idcardreader::platform
