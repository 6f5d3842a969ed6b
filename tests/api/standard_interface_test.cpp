// The SDT_* family: for hosts written for a reader with a security module of its own.

#include "host/host_test.h"
#include "host/output_buffer.h"

namespace hosttest {
namespace {

namespace fs = std::filesystem;

constexpr int kPort = 1001;
constexpr char kWord[] = "0123";

class StandardInterfaceTest : public HostTest {
 protected:
  fs::path File(const char* name) const { return folder.Path() / name; }

  void TearDown() override {
    HostTest::TearDown();
    for (const char* name : {"text", "photo", "fingerprint"}) fs::remove(File(name));
  }

  // Both files, by the function without a fingerprint.
  std::int32_t WriteFiles(const std::string& text, std::uint32_t& textLength,
                          std::uint32_t& photoLength) const {
    return library->SDT_ReadBaseMsgToFile(kPort, text.c_str(), &textLength,
                                          File("photo").string().c_str(), &photoLength);
  }

  void ExpectFiles() const {
    EXPECT_EQ(folder.ReadBytes("text"), ExpectedTextBlock(CardOf(kAnyCard)));
    EXPECT_EQ(folder.ReadBytes("photo"), ExpectedPhoto(CardOf(kAnyCard)));
    for (const char* name : {"text", "photo"}) fs::remove(File(name));
  }
};

TEST_F(StandardInterfaceTest, PortAndModuleFunctionsSucceedAndDoNothing) {
  // Hosts pass further arguments, which must do no harm.
  for (const char* name : {"SDT_OpenPort", "SDT_ClosePort", "SDT_ResetSAM", "SDT_GetSAMStatus",
                           "SDT_SetMaxRFByte", "SDT_SetCOMBaud"}) {
    const auto function = reinterpret_cast<std::int32_t (*)(int, int, int)>(library->Symbol(name));
    EXPECT_EQ(function(kPort, 9600, 115200), IDCARDREADER_SDT_SUCCESS) << name;
  }
  EXPECT_EQ(library->SDT_ReadNewAppMsg(kPort), IDCARDREADER_SDT_NO_FINGERPRINT);
  EXPECT_STREQ(library->readCardErrorInfo(1), "") << "an engine was created";
}

TEST_F(StandardInterfaceTest, FixedValuesAreWrittenToTheByte) {
  const std::string digits28 = "0123456789123456789012345678";
  const struct {
    const char* function;
    std::string value;
  } rows[] = {
      {"SDT_GetSAMID", "0123456789123456"},
      {"SDT_GetSAMIDToStr", "0123456789123456"},
      {"SDT_ReadIINSNDN", digits28},
      {"SDT_ReadIINSNDNToASCII", "01234567891234567890123456780123456789123456789012345678"},
      {"SDT_ReadMngInfo", "01234567891234567890123456780123456789123456789012345678"},
      {"SDT_GetErrorString", "@"}};
  for (const auto& row : rows) {
    const auto function =
        reinterpret_cast<std::int32_t (*)(int, char*)>(library->Symbol(row.function));
    OutputBuffer output;
    EXPECT_EQ(function(kPort, output.Text()), IDCARDREADER_SDT_SUCCESS) << row.function;
    output.ExpectText(row.value, row.function);
    EXPECT_EQ(function(kPort, nullptr), IDCARDREADER_SDT_SUCCESS) << row.function;
  }
  std::uint32_t baudRate = 0;
  EXPECT_EQ(library->SDT_GetCOMBaud(kPort, &baudRate), IDCARDREADER_SDT_SUCCESS);
  EXPECT_EQ(baudRate, 115200u);
  EXPECT_EQ(library->SDT_GetCOMBaud(kPort, nullptr), IDCARDREADER_SDT_SUCCESS);
}

TEST_F(StandardInterfaceTest, FindsSelectsAndReadsACard) {
  desk.Put(kAnyCard);
  OutputBuffer found, selected;
  EXPECT_EQ(library->SDT_StartFindIDCard(kPort, found.Data()), IDCARDREADER_SDT_CARD_FOUND);
  found.ExpectText(kWord, "SDT_StartFindIDCard");
  EXPECT_EQ(library->readCardGetCardType(), 16);
  ExpectNoRecord(*library);  // finding is not reading
  EXPECT_EQ(library->SDT_SelectIDCard(kPort, selected.Data()), IDCARDREADER_SDT_SUCCESS)
      << LastError();
  selected.ExpectText(kWord, "SDT_SelectIDCard");
  ExpectRecordOf(CardOf(kAnyCard), *library);
}

TEST_F(StandardInterfaceTest, WithoutACardNothingIsFoundOrSelected) {
  ExpectGoodRead(kAnyCard);
  desk.TakeCardAway();
  OutputBuffer found, selected;
  EXPECT_EQ(library->SDT_StartFindIDCard(kPort, found.Data()), IDCARDREADER_SDT_NO_CARD);
  found.ExpectText(kWord, "SDT_StartFindIDCard");
  EXPECT_EQ(library->SDT_StartFindIDCard(kPort, nullptr), IDCARDREADER_SDT_NO_CARD);
  EXPECT_EQ(library->SDT_SelectIDCard(kPort, selected.Data()), IDCARDREADER_SDT_NOT_SELECTED);
  selected.ExpectText(kWord, "SDT_SelectIDCard");
  ExpectNoRecord(*library);
}

TEST_F(StandardInterfaceTest, WritesTheBlocksToFiles) {
  ExpectGoodRead(kAnyCard);
  std::uint32_t text = 7, photo = 7, fingerprint = 7;
  EXPECT_EQ(WriteFiles(File("text").string(), text, photo), IDCARDREADER_SDT_SUCCESS);
  EXPECT_EQ(text, 256u);
  EXPECT_EQ(photo, 1024u);
  ExpectFiles();
  EXPECT_EQ(library->SDT_ReadBaseFPMsgToFile(kPort, File("text").string().c_str(), &text,
                                             File("photo").string().c_str(), &photo,
                                             File("fingerprint").string().c_str(), &fingerprint),
            IDCARDREADER_SDT_SUCCESS);
  ExpectFiles();
  EXPECT_FALSE(fs::exists(File("fingerprint")));
  EXPECT_EQ(fingerprint, 7u);
  // A file that cannot be written is passed over.
  text = 7;
  EXPECT_EQ(WriteFiles(File("no such folder/text").string(), text, photo),
            IDCARDREADER_SDT_SUCCESS);
  EXPECT_EQ(text, 256u);
  EXPECT_EQ(folder.ReadBytes("photo"), ExpectedPhoto(CardOf(kAnyCard)));
}

TEST_F(StandardInterfaceTest, NoFilesWithoutATextBlockOrAnEngine) {
  const auto expectNothing = [this] {
    std::uint32_t text = 7, photo = 7;
    EXPECT_EQ(WriteFiles(File("text").string(), text, photo), IDCARDREADER_SDT_NOTHING_READ);
    EXPECT_EQ(text, 7u);
    EXPECT_EQ(photo, 7u);
    EXPECT_FALSE(fs::exists(File("text")));
    EXPECT_FALSE(fs::exists(File("photo")));
  };
  expectNothing();
  ExpectGoodRead("gat");
  expectNothing();
  ExpectGoodRead(kAnyCard);
  library->CloseComm();
  expectNothing();
}

}  // namespace
}  // namespace hosttest
