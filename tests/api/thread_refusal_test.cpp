// A system that gives no thread, no descriptor or one processor, which only Linux can be made.

#if defined(__linux__)

#include <pthread.h>
#include <sched.h>
#include <sys/resource.h>
#include <unistd.h>

#include "host/host_test.h"

namespace hosttest {
namespace {

// New threads want a stack that is larger than any address space.
class ThreadsRefused {
 public:
  ThreadsRefused() {
    pthread_getattr_default_np(&before);
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, std::size_t{1} << 50);
    EXPECT_EQ(pthread_setattr_default_np(&attributes), 0);
    pthread_attr_destroy(&attributes);
  }
  ~ThreadsRefused() {
    pthread_setattr_default_np(&before);
    pthread_attr_destroy(&before);
  }
  ThreadsRefused(const ThreadsRefused&) = delete;
  ThreadsRefused& operator=(const ThreadsRefused&) = delete;

 private:
  pthread_attr_t before{};
};

class ThreadRefusalTest : public HostTest {
 protected:
  // On this thread, as there is no other to be had.
  int ReadWithoutNewThreads() {
    desk.Put(kAnyCard);
    const ThreadsRefused refused;
    return library->readCardStart(0);
  }
};

TEST_F(ThreadRefusalTest, NoReadThreadIsCode26) {
  EXPECT_EQ(ReadWithoutNewThreads(), 0);
  ExpectCode(26);
  ExpectNoRecord(*library);
  ExpectGoodRead(kAnyCard);
}

// The read thread is there already when the connection wants its own.
TEST_F(ThreadRefusalTest, NoClientThreadIsCode29WithTheCauseBehindIt) {
  StopService();
  desk.Put(kAnyCard);
  EXPECT_EQ(Read().result, 0);
  StartService();
  EXPECT_EQ(ReadWithoutNewThreads(), 0);
  ExpectCode(29);
  EXPECT_NE(LastError().find(library->readCardErrorInfo(2)), std::string::npos) << LastError();
  ExpectNoRecord(*library);
  ExpectGoodRead(kAnyCard);
}

// On one processor for all of them, the caller goes on before the thread that has woken him.
TEST_F(ThreadRefusalTest, TheCallerOfAFailedReadFindsTheErrorLogWritten) {
  ExpectGoodRead(kAnyCard);
  cpu_set_t one;
  CPU_ZERO(&one);
  CPU_SET(sched_getcpu(), &one);
  for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
    const pid_t thread = std::stoi(task.path().filename());
    sched_setaffinity(thread, sizeof one, &one);
    if (thread != gettid()) setpriority(PRIO_PROCESS, static_cast<id_t>(thread), 19);
  }
  desk.Misbehave(FaultAt("input-key", "status", {{"status", 3}}));
  const std::string text = Gbk("读卡(通信超时)");
  for (int count = 0; count < 5; ++count) {
    EXPECT_EQ(library->readCardStart(0), 0);
    EXPECT_EQ(LastError(), text + text);
  }
}

TEST_F(ThreadRefusalTest, WhatNoDescriptorWasLeftForIsReadByTheNextRead) {
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
