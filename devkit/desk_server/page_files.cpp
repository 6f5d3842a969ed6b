#include "desk_server/page_files.h"

#include "page_content.inc"  // generated: an array for each file

namespace devkit {
namespace {

template <std::size_t Size>
constexpr std::string_view View(const unsigned char (&bytes)[Size]) {
  return {reinterpret_cast<const char*>(bytes), Size};
}

const PageFile kPageFiles[] = {
    {"/", "text/html; charset=utf-8", View(kIndexHtml)},
    {"/desk.css", "text/css; charset=utf-8", View(kDeskCss)},
    {"/desk.js", "text/javascript; charset=utf-8", View(kDeskJs)},
    {"/cards.js", "text/javascript; charset=utf-8", View(kCardsJs)},
    {"/texts.js", "text/javascript; charset=utf-8", View(kTextsJs)},
    {"/icon.svg", "image/svg+xml", View(kIconSvg)},
    {"/codes.json", "application/json", View(kCodesJson)},
};

}  // namespace

std::span<const PageFile> PageFiles() { return kPageFiles; }

std::string_view PageContent(std::string_view path) {
  for (const PageFile& file : PageFiles()) {
    if (file.path == path) return file.content;
  }
  return {};
}

}  // namespace devkit
