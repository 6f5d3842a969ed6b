#include "host/host_test.h"

namespace hosttest {

void HostTest::TearDown() {
  End();
  EXPECT_EQ(desk.TakeComplaints(), "");
}

ReadResult HostTest::ReadInTime(const std::function<void()>& prepare, milliseconds limit) {
  ReadResult read;
  for (int attempt = 0; attempt < 3; ++attempt) {
    prepare();
    read = Read();
    if (read.duration <= limit) return read;
  }
  ADD_FAILURE() << "The read took " << read.duration.count() / 1000 << " ms, and has "
                << limit.count() << " ms";
  return read;
}

void HostTest::ExpectGoodRead(const std::string& card) {
  desk.Put(card);
  const ReadResult read = Read();
  EXPECT_EQ(read.result, 1) << LastError();
  if (read.result == 1) ExpectRecordOf(CardOf(card), *library);
}

void HostTest::ExpectCode(int code) const {
  EXPECT_TRUE(LastError().starts_with(library->readCardErrorInfo(code)))
      << "wanted " << code << ", got " << LastError();
}

void HostTest::CopyReadcard() const {
  for (const auto& entry : std::filesystem::directory_iterator(StageFolder() / "bin")) {
    const std::filesystem::path copy = folder.Path() / entry.path().filename();
    if (entry.path().stem() == "readcard" && !std::filesystem::exists(copy)) {
      std::filesystem::copy_file(entry.path(), copy);
    }
  }
}

}  // namespace hosttest
