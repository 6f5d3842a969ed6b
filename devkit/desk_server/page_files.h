#pragma once

#include <span>
#include <string_view>

namespace devkit {

// A file of the page, part of the program.
struct PageFile {
  std::string_view path;  // as the browser asks for it
  std::string_view type;
  std::string_view content;
};

std::span<const PageFile> PageFiles();

// Of the path; empty when there is none.
std::string_view PageContent(std::string_view path);

}  // namespace devkit
