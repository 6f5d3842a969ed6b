// The functions of older hosts: find, read, write files, of fixed names for some, sound the reader.

#include "host/host_test.h"
#include "host/output_buffer.h"
#include "platform/dynamic_library.h"

namespace hosttest {
namespace {

namespace fs = std::filesystem;

constexpr int kPort = 1001;
constexpr char kWord[] = "0123";

class OlderInterfacesTest : public HostTest {
 protected:
  // Names of files are relative to the current directory, which the tests' processes share.
  void SetUp() override {
    HostTest::SetUp();
    fs::create_directory(contentFolder);
    fs::current_path(contentFolder);
  }

  void TearDown() override {
    HostTest::TearDown();
    fs::current_path(before);
    fs::remove_all(contentFolder);
  }

  const fs::path before = fs::current_path();
  const fs::path contentFolder = folder.Path() / "content";
};

TEST_F(OlderInterfacesTest, FindSelectAndReadACardThatIsThere) {
  for (const bool there : {true, false}) {
    there ? desk.Put(kAnyCard) : desk.TakeCardAway();
    OutputBuffer found, selected;
    EXPECT_EQ(library->SDT_StartFindIDCard(kPort, found.Data()),
              there ? IDCARDREADER_SDT_CARD_FOUND : IDCARDREADER_SDT_NO_CARD);
    found.ExpectText(kWord, "SDT_StartFindIDCard");
    if (there) ExpectNoRecord(*library);  // finding is not reading
    EXPECT_EQ(library->SDT_SelectIDCard(kPort, selected.Data()),
              there ? IDCARDREADER_SDT_SUCCESS : IDCARDREADER_SDT_NOT_SELECTED);
    selected.ExpectText(kWord, "SDT_SelectIDCard");
    there ? ExpectRecordOf(CardOf(kAnyCard), *library) : ExpectNoRecord(*library);
    EXPECT_EQ(library->Authenticate(), 0);
    EXPECT_EQ(library->readCardGetCardType(), there ? 16 : 0);
  }
}

// A file that cannot be written is passed over; without a text block or an engine there are none.
TEST_F(OlderInterfacesTest, BlocksAreWrittenToTheFilesThatTheHostNames) {
  const auto write = [this](const char* textFile, std::uint32_t bytes) {
    std::uint32_t text = 7, photo = 7, fingerprint = 7;
    EXPECT_EQ(library->SDT_ReadBaseMsgToFile(kPort, textFile, &text, "photo", &photo),
              bytes != 7 ? IDCARDREADER_SDT_SUCCESS : IDCARDREADER_SDT_NOTHING_READ);
    EXPECT_EQ(text, bytes);
    EXPECT_EQ(photo, bytes != 7 ? 1024u : 7u);
    library->SDT_ReadBaseFPMsgToFile(kPort, "text2", &text, "photo2", &photo, "none", &fingerprint);
    EXPECT_EQ(fingerprint, 7u);
  };
  write("text", 7);
  ExpectGoodRead("gat");
  write("text", 7);
  EXPECT_TRUE(folder.Files("content").empty());
  ExpectGoodRead(kAnyCard);
  write("no such folder/text", 256);
  write("text", 256);
  EXPECT_EQ(folder.Files("content").size(), 4u);
  for (const std::string kind : {"", "2"}) {
    EXPECT_EQ(folder.ReadBytes("content/text" + kind), ExpectedTextBlock(CardOf(kAnyCard)));
    EXPECT_EQ(folder.ReadBytes("content/photo" + kind), ExpectedPhoto(CardOf(kAnyCard)));
  }
  library->CloseComm();
  write("text", 7);
}

// No file of the card before stays beside this one's.
TEST_F(OlderInterfacesTest, ReadContentWritesTheBlocksInModesOneAndTwo) {
  const struct {
    const char* card;  // null: none
    int mode;
    const char* written;  // whose blocks the files hold then; null: there are none
  } rows[] = {{kAnyCard, 0, nullptr},       {kAnyCard, -1, nullptr}, {kAnyCard, 1, kAnyCard},
              {"gat", 3, kAnyCard},         {"gat", 2, "gat"},       {kAnyCard, 2, kAnyCard},
              {"gat-no-photo", 1, nullptr}, {nullptr, 1, nullptr}};
  for (const auto& row : rows) {
    SCOPED_TRACE(&row - rows);
    row.card != nullptr ? desk.Put(row.card) : desk.TakeCardAway();
    EXPECT_EQ(library->Read_Content(row.mode), row.card != nullptr ? 1 : 0) << LastError();
    const devkit::Card card = row.written == nullptr ? devkit::Card() : CardOf(row.written);
    const devkit::Bytes text = ExpectedTextBlock(card), photo = ExpectedPhoto(card);
    EXPECT_EQ(folder.Files("content").size(), (text.empty() ? 0u : 1u) + !photo.empty());
    EXPECT_EQ(folder.ReadBytes("content/WZ.TXT"), text);
    EXPECT_EQ(folder.ReadBytes("content/ZP.WLT"), photo);
  }
}

// In one test, as a decoder that was found is kept for the rest of the process.
TEST_F(OlderInterfacesTest, PhotoDecodersAreUsedOnceTheyAreThere) {
  fs::current_path(folder.Path());
  desk.Put(kAnyCard);
  EXPECT_EQ(library->dewlt(1), 0u);
  EXPECT_EQ(library->Read_Content(1), 1);

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "the sanitizers load libraries themselves and do not look beside ours";
#endif
  for (const char* decoder : {"WltRS", "Dewlt"}) {
    fs::copy_file(PHOTO_DECODER_STAND_IN, idcardreader::platform::DynamicLibraryFileName(decoder));
  }
  const auto argument = static_cast<std::uintptr_t>(0x123456789abcdef0);
  EXPECT_EQ(library->dewlt(argument), ~argument);
  EXPECT_EQ(library->Read_Content(2), 1);  // leaves the photo as it is
  EXPECT_EQ(library->Read_Content(1), 1) << "whatever the decoder returns";
  // A photo that cannot be written is not there to be decoded.
  fs::remove("ZP.WLT");
  fs::create_directory("ZP.WLT");
  EXPECT_EQ(library->Read_Content(1), 1) << LastError();
  fs::remove("ZP.WLT");
#ifndef _WIN32
  fs::create_symlink("/dev/full", "ZP.WLT");
  EXPECT_EQ(library->Read_Content(1), 1) << LastError();
#endif
  // A card without a photo has no file to decode.
  for (const char* file : {"WZ.TXT", "ZP.WLT"}) fs::remove(file);
  desk.Put("gat-no-photo");
  EXPECT_EQ(library->Read_Content(1), 1);
  EXPECT_EQ(folder.ReadFile("calls.txt"), "GetBmp ZP.WLT 1\n");
  fs::remove("calls.txt");
}

// The reader tells nobody that it sounded; that the command reached it shows in what it does then.
TEST_F(OlderInterfacesTest, SoundsTheReaderWhenThereIsAnEngine) {
  for (const auto beep : {library->HID_BeepLED, library->Routon_BeepLED}) {
    EXPECT_EQ(beep(1, 1, 500), 1);
    EXPECT_STREQ(library->readCardErrorInfo(1), "") << "an engine was created";

    ExpectGoodRead(kAnyCard);
    EXPECT_EQ(beep(1, 1, 500), 1);
    EXPECT_EQ(library->readCardGetDeviceStatus(), 1);
    desk.Misbehave(FaultAt("beep", "io-error"));
    EXPECT_EQ(beep(1, 1, 500), 1);
    EXPECT_EQ(library->readCardGetDeviceStatus(), 3);
    desk.Behave();
    library->CloseComm();
  }
}

}  // namespace
}  // namespace hosttest
