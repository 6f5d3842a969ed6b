#pragma once

#include <string>
#include <string_view>

namespace idcardreader::platform {

// The platform's converters for code pages 65001 and 936, with Windows' results on every platform.
// Texts are taken with their length (they may hold zero bytes); nothing is lost silently: what a
// target cannot hold becomes one replacement for each unit.

// Malformed UTF-8 yields U+FFFD as Windows yields it.
std::u16string Utf8ToUtf16(std::string_view utf8);

// Unpaired surrogates become U+FFFD.
std::string Utf16ToUtf8(std::u16string_view utf16);

// One '?' for each UTF-16 unit that GBK cannot hold (two for a surrogate pair). U+E000 to U+E765 go
// to the user-defined areas AAA1-AFFE, F8A1-FEFE and A140-A7A0, where old cards keep rare names.
std::string Utf16ToGbk(std::u16string_view utf16);

// The inverse, for hosts and tools that show GBK texts; malformed bytes yield U+FFFD or '?'.
std::u16string GbkToUtf16(std::string_view gbk);

}  // namespace idcardreader::platform
