#pragma once

#include <string>
#include <vector>

#include "language.h"

namespace readcard {

// What the program ends with; scripts rely on the numbers.
enum ExitStatus { kAllRead = 0, kReadFailed = 1, kUsage = 2 };

enum class Command { read, watch, uid, beep, doctor, trace };

struct Options {
  Command command = Command::read;
  bool json = false;
  bool blocks = false;  // in JSON
  bool verbose = false;
  unsigned repeat = 1;
  std::string readInterface = "cloud";
  std::string filesFolder;  // empty: no files are written
  std::string library;      // empty: searched beside the program
  std::string serialPort;   // empty: the USB reader
  unsigned beepMilliseconds = 500;
  std::string program;                    // of doctor: the host; empty: this program
  Language language = Language::english;  // of doctor and trace
  std::string svgFile;                    // of trace; empty: none
  bool withData = false;                  // of trace
};

struct ParsedOptions {
  bool run;        // false: help or a complaint was printed, the program ends
  int exitStatus;  // of a program that ends
  Options options;
};

// The arguments without the program's name, in UTF-8.
ParsedOptions ParseOptions(std::vector<std::string> arguments);

}  // namespace readcard
