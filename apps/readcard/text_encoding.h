#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace readcard {

std::string GbkToUtf8(std::string_view gbk);
// A path for people, UTF-8.
std::string PathText(const std::filesystem::path& path);

}  // namespace readcard
