// A host that forks, and a system that gives no thread and no descriptor: what only Linux can be made
// to do.

#if defined(__linux__)

#include <pthread.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

#include "host/host_test.h"

namespace hosttest {
namespace {

class ForkTest : public HostTest {
 protected:
  // Every function that does more than yield the same for ever; the others touch nothing. What is
  // wrong is printed.
  void ExpectNothingOfAnything() {
    const auto& l = *library;
    std::uint8_t bytes[2048];
    std::uint32_t length = 0;
    char* const text = reinterpret_cast<char*>(bytes);
    ExpectNoRecord(l);
    for (const int result :
         {l.readCardInit(), l.readCardDestory(), l.readCardGetDeviceStatus(),
          l.readCardGetCardType(), l.Authenticate(), l.readCardLog(0), l.readCardStart(0),
          l.readCardStart(1), l.readCardSetDeviceType(0), l.Read_Content(1),
          l.readCardGetUID(0, text), l.SDT_StartFindIDCard(1, bytes) - IDCARDREADER_SDT_NO_CARD,
          l.SDT_SelectIDCard(1, bytes) - IDCARDREADER_SDT_NOT_SELECTED,
          l.SDT_ReadBaseFPMsgToFile(1, text, &length, text, &length, text, &length) -
              IDCARDREADER_SDT_NOTHING_READ,
          l.HID_BeepLED(1, 1, 1) - 1, l.Routon_BeepLED(1, 1, 1) - 1}) {
      EXPECT_EQ(result, 0);
    }
    EXPECT_EQ(l.dewlt(0) + l.readCardBeep(0), 0u);
    for (const auto get : {l.readCardGetLastError, l.readCardGetDN, l.readCardGetVersionCode,
                           l.readCardGetAuthorizeCode, l.readCardGetHostDeviceCode,
                           l.readCardGetSdkVersion, l.readCardGetComSet}) {
      EXPECT_EQ(get() + std::string(l.readCardErrorInfo(1)), "");
    }
    l.readCardStop();
    EXPECT_EQ(l.CloseComm(), 1);
  }
};

TEST_F(ForkTest, TheChildHasNothingAndWaitsForNothing) {
  ExpectGoodRead(kAnyCard);  // whose blocks the child must not hand out
  library->readCardStop();
  ServiceMisbehaves({{"latency", {{"dn", 700}}}});
  service->ForgetReceived();
  std::future<ReadResult> read = ReadInBackground();
  ASSERT_TRUE(service->WaitForReceived(2, std::chrono::seconds(10)));
  const pid_t child = fork();
  if (child == 0) {
    ExpectNothingOfAnything();
    std::fflush(stdout);
    _exit(HasFailure() ? 1 : 0);
  }
  int status = -1;
  if (!Eventually([&] { return waitpid(child, &status, WNOHANG) == child; })) {
    kill(child, SIGKILL);  // it hangs
    waitpid(child, &status, 0);
  }
  EXPECT_EQ(status, 0);
  EXPECT_EQ(read.get().result, 1) << LastError();
  ExpectBlocksOf(CardOf(kAnyCard), *library);  // the fields may have gone meanwhile
}

class RefusalTest : public HostTest {};

// The read is on this thread, as there is no other to be had: new ones want a stack that is larger
// than any address space. For the connection's, the read thread is there already.
TEST_F(RefusalTest, NoThreadIsCode26AndForTheConnection29WithTheCauseBehindIt) {
  pthread_attr_t before, refused;
  pthread_getattr_default_np(&before);
  pthread_attr_init(&refused);
  pthread_attr_setstacksize(&refused, std::size_t{1} << 50);
  desk.Put(kAnyCard);
  for (const int code : {26, 29}) {
    EXPECT_EQ(pthread_setattr_default_np(&refused), 0);
    EXPECT_EQ(library->readCardStart(0), 0);
    pthread_setattr_default_np(&before);
    ExpectCode(code);
    EXPECT_EQ(LastError().ends_with(library->readCardErrorInfo(2)), code == 29) << LastError();
    ExpectNoRecord(*library);
    StopService();
    EXPECT_EQ(Read().result, 0);
    StartService();
  }
  ExpectGoodRead(kAnyCard);
}

TEST_F(RefusalTest, WhatNoDescriptorWasLeftForIsReadByTheNextRead) {
#if defined(__SANITIZE_ADDRESS__)
  GTEST_SKIP() << "the sanitizer itself asks for a descriptor when it looks at an object";
#endif
  rlimit before{};
  getrlimit(RLIMIT_NOFILE, &before);
  const rlimit none{0, before.rlim_max};
  setrlimit(RLIMIT_NOFILE, &none);
  EXPECT_EQ(library->readCardSetDeviceType(0), 1);  // creates the engine
  setrlimit(RLIMIT_NOFILE, &before);
  ExpectGoodRead(kAnyCard);
}

}  // namespace
}  // namespace hosttest

#endif
