// The host's standard output, to which the library tells of its progress.

#include "host/host_test.h"
#include "support/redirected_output.h"

namespace hosttest {
namespace {

using idcardreader::Pipe;
using idcardreader::RedirectedOutput;

class StandardOutputTest : public HostTest {
 protected:
  // Reads again and again; nothing may be printed meanwhile, least of all by the test.
  int GoodReadsWithOutputTo(int descriptor, int reads) {
    const RedirectedOutput redirected(descriptor);
    int good = 0;
    for (int count = 0; count < reads; ++count) good += library->readCardStart(0);
    library->CloseComm();
    return good;
  }
};

TEST_F(StandardOutputTest, DoesNotMatterToAReadWhateverBecomesOfIt) {
  desk.Put(kAnyCard);
  Pipe withoutReader;
  withoutReader.CloseReader();
  EXPECT_EQ(GoodReadsWithOutputTo(withoutReader.write, 3), 3);
  Pipe full;
  ASSERT_TRUE(full.Fill());
  EXPECT_EQ(GoodReadsWithOutputTo(full.write, 3), 3);
}

}  // namespace
}  // namespace hosttest
