#include "base/json_file.h"

#include <algorithm>
#include <fstream>
#include <sstream>
#include <vector>

namespace devkit {

void Fail(const std::string& where, const std::string& what) {
  throw FileError(where + ": " + what);
}

std::string PathText(const std::filesystem::path& path) {
  const std::u8string text = path.generic_u8string();
  return {text.begin(), text.end()};
}

std::filesystem::path PathFromText(const std::string& utf8) {
  return std::filesystem::path(std::u8string(utf8.begin(), utf8.end()));
}

std::optional<std::string> ReadTextFile(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) return std::nullopt;
  std::ostringstream text;
  text << file.rdbuf();
  return std::move(text).str();
}

nlohmann::ordered_json ParseJsonText(const std::string& text, const std::string& where) {
  try {
    return nlohmann::ordered_json::parse(text, nullptr, true, true);
  } catch (const nlohmann::json::exception& error) {
    throw FileError(where + ": " + error.what());
  }
}

nlohmann::ordered_json ReadJsonFile(const std::filesystem::path& path) {
  const std::optional<std::string> text = ReadTextFile(path);
  if (!text) throw FileError(PathText(path) + ": cannot be read");
  return ParseJsonText(*text, PathText(path));
}

void RequireMembers(const nlohmann::ordered_json& object, const std::string& where,
                    std::initializer_list<std::string_view> allowed) {
  if (!object.is_object()) throw FileError(where + ": an object is wanted");
  for (const auto& [name, value] : object.items()) {
    if (std::find(allowed.begin(), allowed.end(), name) == allowed.end()) {
      throw FileError(where + ": unknown member \"" + name + "\" (allowed: " + JoinNames(allowed) +
                      ")");
    }
  }
}

std::string JoinNames(const std::vector<std::string_view>& names) {
  std::string text;
  for (const std::string_view name : names) {
    if (!text.empty()) text += ", ";
    text += name;
  }
  return text;
}

}  // namespace devkit
