// A host that forks, which only POSIX knows.

#ifndef _WIN32

#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <string_view>

#include "host/host_test.h"

namespace hosttest {
namespace {

class ForkTest : public HostTest {};

char someBuffer[2048];

std::int64_t ValueOf(const char* text) { return *text == '\0' ? 0 : -1; }
template <typename Number>
std::int64_t ValueOf(Number number) {
  return static_cast<std::int64_t>(number);
}

struct Argument {
  operator std::int32_t() const { return 0; }
  operator std::uintptr_t() const { return 0; }
  template <typename Pointee>
  operator Pointee*() const {
    return reinterpret_cast<Pointee*>(someBuffer);
  }
};

template <typename Result, typename... Parameters>
std::int64_t Call(Result (*function)(Parameters...)) {
  if constexpr (std::is_void_v<Result>) {
    function(static_cast<Parameters>(Argument())...);
    return 0;
  } else {
    return ValueOf(function(static_cast<Parameters>(Argument())...));
  }
}

std::int64_t Nothing(std::string_view name) {
  struct {
    std::string_view name;
    std::int64_t value;
  } const rows[] = {{"SDT_StartFindIDCard", IDCARDREADER_SDT_NO_CARD},
                    {"SDT_SelectIDCard", IDCARDREADER_SDT_NOT_SELECTED},
                    {"SDT_ReadNewAppMsg", IDCARDREADER_SDT_NO_FINGERPRINT},
                    {"SDT_ReadFPMsg", IDCARDREADER_SDT_NO_FINGERPRINT},
                    {"SDT_ReadBase", IDCARDREADER_SDT_NOTHING_READ},
                    {"SDT_", IDCARDREADER_SDT_SUCCESS},
                    {"InitComm", 1},
                    {"CloseComm", 1},
                    {"ReadIINSNDN", 1},
                    {"HID_BeepLED", 1},
                    {"Routon_ReadBaseMsg", 0},
                    {"Routon_", 1}};
  for (const auto& row : rows) {
    if (name.starts_with(row.name)) return row.value;
  }
  return 0;
}

// Calls everything; the number of the function that yields something, 0 when there is none.
int FirstWrongFunction(const ShippedLibrary& library) {
  int number = 0;
#define IDCARDREADER_CALL(name) \
  ++number;                     \
  if (Call(library.name) != Nothing(#name)) return number;
  IDCARDREADER_FUNCTIONS(IDCARDREADER_CALL)
#undef IDCARDREADER_CALL
  return 0;
}

TEST_F(ForkTest, TheChildHasNothingAndWaitsForNothing) {
  ExpectGoodRead(kAnyCard);  // whose blocks the child must not hand out
  library->readCardStop();
  ServiceMisbehaves({{"latency", {{"dn", 700}}}});
  service->ForgetReceived();
  std::future<ReadResult> read = ReadInBackground();
  ASSERT_TRUE(service->WaitForReceived(2, std::chrono::seconds(10)));

  const pid_t child = fork();
  if (child == 0) _exit(FirstWrongFunction(*library));
  int status = -1;
  const auto ended = [&] { return waitpid(child, &status, WNOHANG) == child; };
  if (!Eventually(ended, std::chrono::seconds(10))) {
    ADD_FAILURE() << "the child hangs";
    kill(child, SIGKILL);
    waitpid(child, &status, 0);
  }
  EXPECT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0) << "the number of the first function with another result";

  EXPECT_EQ(read.get().result, 1) << LastError();
  ExpectFieldsOf(CardOf(kAnyCard), *library);
}

}  // namespace
}  // namespace hosttest

#endif
