#pragma once

#include <sys/types.h>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace memorytest {

// A program that runs while this lives; descriptors become its numbers from 3 on.
class RunningProgram {
 public:
  RunningProgram(const std::vector<std::string>& command, const std::vector<int>& descriptors);
  ~RunningProgram();
  RunningProgram(const RunningProgram&) = delete;
  RunningProgram& operator=(const RunningProgram&) = delete;

  pid_t Process() const { return process; }

 private:
  pid_t process = -1;
};

// A host in a process of its own, with the shipped library and, over a socket, the reader of a desk:
// cards and service stay in this process, which is not searched.
class SearchedHost {
 public:
  SearchedHost(const std::filesystem::path& program, const std::filesystem::path& library,
               const std::filesystem::path& deskFile);
  ~SearchedHost();

  // Calls an export; of a 32-bit result only the lower half counts.
  std::intptr_t Call(const std::string& function, int argument = 0, bool inBackground = false);
  pid_t Process() const { return program->Process(); }

 private:
  void ServeReader(const std::filesystem::path& deskFile) const;

  int control = -1;
  int readerSocket = -1;
  std::unique_ptr<RunningProgram> program;
  std::thread reader;
};

}  // namespace memorytest
