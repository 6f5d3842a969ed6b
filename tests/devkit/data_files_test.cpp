// The lines of the data files, read by the library that they are written for.

#include "datafile/data_files.h"

#include "config/data_files.h"
#include "datafile/scrambling.h"
#include "devkit/devkit_test_support.h"

namespace devkit {
namespace {

TEST(ScramblingTest, CarriesEveryByteButZeroFromEveryStart) {
  std::string all;
  for (int byte = 1; byte < 256; ++byte) all += static_cast<char>(byte);
  for (int start = 0; start < 256; ++start) {
    const std::string scrambled = Scramble(all, kDataFileKey, static_cast<unsigned char>(start));
    ASSERT_EQ(idcardreader::DescrambleField(scrambled, idcardreader::kDataFileKey), all) << start;
    ASSERT_EQ(Descramble(scrambled, kDataFileKey), all) << start;
  }
}

}  // namespace
}  // namespace devkit
