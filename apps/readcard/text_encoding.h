#pragma once

#include <string>
#include <string_view>

namespace readcard {

std::string GbkToUtf8(std::string_view gbk);

}  // namespace readcard
