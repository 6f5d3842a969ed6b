#pragma once

#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace readcard {

// The program's arguments without its name, in UTF-8 on every platform.
std::vector<std::string> Utf8Arguments(int argumentCount, char** arguments);

// The program's outputs. The library prints progress lines of its own to standard output: from
// construction on those go to the error output, or nowhere, and only what is written here reaches
// the standard output that the caller of the program sees.
class Console {
 public:
  explicit Console(bool showLibraryLines);

  // UTF-8. Written through at once, so that a reader of the pipe sees each card when it is read.
  void Print(std::string_view text);
  void Complain(std::string_view text);

 private:
  struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
  };
  std::unique_ptr<std::FILE, CloseFile> output;
};

}  // namespace readcard
