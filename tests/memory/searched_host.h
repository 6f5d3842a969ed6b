#pragma once

#include <sys/types.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

namespace memorytest {

// Starts a program; descriptors become its numbers from 3 on.
pid_t StartProgram(const std::vector<std::string>& command, const std::vector<int>& descriptors);
void EndProgram(pid_t process);

// A host in a process of its own, with the shipped library and, over a socket, the reader of a desk:
// cards and service stay in this process, which is not searched.
class SearchedHost {
 public:
  SearchedHost(const std::filesystem::path& program, const std::filesystem::path& library,
               const std::filesystem::path& deskFile);
  ~SearchedHost();
  SearchedHost(const SearchedHost&) = delete;
  SearchedHost& operator=(const SearchedHost&) = delete;

  std::intptr_t Do(char command);
  pid_t Process() const { return process; }

 private:
  void ServeReader(const std::filesystem::path& deskFile) const;

  int control = -1;
  int readerSocket = -1;
  pid_t process = -1;
  std::thread reader;
};

}  // namespace memorytest
