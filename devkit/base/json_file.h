#pragma once

#include <filesystem>
#include <initializer_list>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace devkit {

// A file that people write and got wrong; the text names the file and the place in it.
class FileError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

[[noreturn]] void Fail(const std::string& where, const std::string& what);

// UTF-8 on every platform.
std::string PathText(const std::filesystem::path& path);
std::filesystem::path PathFromText(const std::string& utf8);

// Nothing when the file cannot be read.
std::optional<std::string> ReadTextFile(const std::filesystem::path& path);

// Both throw FileError. Comments are allowed in the files.
nlohmann::ordered_json ParseJsonText(const std::string& text, const std::string& where);
nlohmann::ordered_json ReadJsonFile(const std::filesystem::path& path);

// Throws FileError for a value that is no object or holds a member that is not listed.
void RequireMembers(const nlohmann::ordered_json& object, const std::string& where,
                    std::initializer_list<std::string_view> allowed);

// "a, b, c", for messages.
std::string JoinNames(const std::vector<std::string_view>& names);

}  // namespace devkit
