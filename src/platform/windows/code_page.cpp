#include "platform/code_page.h"

#include <windows.h>

#include <limits>
#include <stdexcept>

namespace idcardreader::platform {

namespace {

static_assert(sizeof(wchar_t) == sizeof(char16_t));

constexpr UINT kGbk = 936;

int Length(std::size_t size) {
  if (size > static_cast<std::size_t>(std::numeric_limits<int>::max())) {
    throw std::length_error("text too long for the system's converter");
  }
  return static_cast<int>(size);
}

std::u16string Decode(UINT codePage, std::string_view bytes) {
  if (bytes.empty()) return {};
  const int length = Length(bytes.size());
  const int needed = MultiByteToWideChar(codePage, 0, bytes.data(), length, nullptr, 0);
  std::u16string text(static_cast<std::size_t>(needed), u'\0');
  MultiByteToWideChar(codePage, 0, bytes.data(), length, reinterpret_cast<wchar_t*>(text.data()),
                      needed);
  return text;
}

std::string Encode(UINT codePage, DWORD flags, std::u16string_view text) {
  if (text.empty()) return {};
  const int length = Length(text.size());
  const auto* wide = reinterpret_cast<const wchar_t*>(text.data());
  const int needed =
      WideCharToMultiByte(codePage, flags, wide, length, nullptr, 0, nullptr, nullptr);
  std::string bytes(static_cast<std::size_t>(needed), '\0');
  WideCharToMultiByte(codePage, flags, wide, length, bytes.data(), needed, nullptr, nullptr);
  return bytes;
}

}  // namespace

std::u16string Utf8ToUtf16(std::string_view utf8) { return Decode(CP_UTF8, utf8); }

std::string Utf16ToUtf8(std::u16string_view utf16) { return Encode(CP_UTF8, 0, utf16); }

// Without the flag the system puts look-alikes for characters that GBK lacks ("e" for U+00F0): a
// name would silently become another name.
std::string Utf16ToGbk(std::u16string_view utf16) {
  return Encode(kGbk, WC_NO_BEST_FIT_CHARS, utf16);
}

std::u16string GbkToUtf16(std::string_view gbk) { return Decode(kGbk, gbk); }

}  // namespace idcardreader::platform
