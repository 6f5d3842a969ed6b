// The older hosts' functions: open, find, read into files of fixed names, sound the reader.

#include "host/host_test.h"
#include "host/output_buffer.h"
#include "platform/dynamic_library.h"

namespace hosttest {
namespace {

namespace fs = std::filesystem;

class LegacyInterfaceTest : public HostTest {
 protected:
  // The fixed names are relative to the current directory, which the tests' processes share.
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

  std::vector<std::string> ContentFiles() const { return folder.Files("content"); }

  devkit::Bytes BytesOf(const char* name) const {
    return folder.ReadBytes(fs::path("content") / name);
  }

  const fs::path before = fs::current_path();
  const fs::path contentFolder = folder.Path() / "content";
};

TEST_F(LegacyInterfaceTest, FixedResults) {
  for (const char* name : {"InitComm", "Routon_IC_FindCard", "Routon_Set210Update",
                           "Routon_SetNewVersion", "Routon_StartFindIDCard"}) {
    const auto function = reinterpret_cast<std::int32_t (*)(int, int)>(library->Symbol(name));
    EXPECT_EQ(function(1001, 0), 1) << name;
  }
  OutputBuffer serial, version;
  EXPECT_EQ(library->ReadIINSNDN(serial.Text()), 1);
  serial.ExpectText("0123456789123456", "ReadIINSNDN");
  EXPECT_EQ(library->ReadIINSNDN(nullptr), 1);
  EXPECT_EQ(library->Routon_Get210Version(version.Text()), 1);
  version.ExpectText("1", "Routon_Get210Version");
  EXPECT_EQ(library->Routon_Get210Version(nullptr), 1);
  EXPECT_STREQ(library->readCardErrorInfo(1), "") << "an engine was created";
}

TEST_F(LegacyInterfaceTest, AuthenticateFindsTheCardAndReturnsZero) {
  desk.Put(kAnyCard);
  EXPECT_EQ(library->Authenticate(), 0);
  EXPECT_EQ(library->readCardGetCardType(), 16);
  desk.TakeCardAway();
  EXPECT_EQ(library->Authenticate(), 0);
}

TEST_F(LegacyInterfaceTest, ReadContentWritesTheBlocksInModesOneAndTwo) {
  const devkit::Card card = CardOf(kAnyCard);
  desk.Put(kAnyCard);
  for (const int mode : {1, 2}) {
    EXPECT_EQ(library->Read_Content(mode), 1) << LastError();
    EXPECT_EQ(ContentFiles(), (std::vector<std::string>{"WZ.TXT", "ZP.WLT"}));
    EXPECT_EQ(BytesOf("WZ.TXT"), ExpectedTextBlock(card));
    EXPECT_EQ(BytesOf("ZP.WLT"), ExpectedPhoto(card));
    fs::remove("WZ.TXT");
    fs::remove("ZP.WLT");
  }
  for (const int mode : {0, 3, -1}) {
    EXPECT_EQ(library->Read_Content(mode), 1) << LastError();
    EXPECT_TRUE(ContentFiles().empty()) << mode;
  }
  ExpectRecordOf(card, *library);
}

TEST_F(LegacyInterfaceTest, NoFileOfTheCardBeforeStaysBesideThisOnes) {
  desk.Put(kAnyCard);
  EXPECT_EQ(library->Read_Content(2), 1) << LastError();
  desk.Put("gat");
  EXPECT_EQ(library->Read_Content(3), 1) << LastError();
  EXPECT_EQ(ContentFiles().size(), 2U) << "this mode has no files";
  EXPECT_EQ(library->Read_Content(2), 1) << LastError();
  EXPECT_EQ(ContentFiles(), std::vector<std::string>{"ZP.WLT"});
  EXPECT_EQ(BytesOf("ZP.WLT"), ExpectedPhoto(CardOf("gat")));
  desk.Put("gat-no-photo");
  EXPECT_EQ(library->Read_Content(1), 1) << LastError();
  EXPECT_TRUE(ContentFiles().empty());
  desk.TakeCardAway();
  EXPECT_EQ(library->Read_Content(1), 0);
  EXPECT_TRUE(ContentFiles().empty());
}

// In one test, as a decoder that was found is kept for the rest of the process.
TEST_F(LegacyInterfaceTest, PhotoDecodersAreUsedOnceTheyAreThere) {
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
  EXPECT_EQ(library->Read_Content(2), 1);
  EXPECT_EQ(folder.ReadFile("calls.txt"), "") << "mode 2 leaves the photo as it is";
  EXPECT_EQ(library->Read_Content(1), 1) << "whatever the decoder returns";
  EXPECT_EQ(folder.ReadFile("calls.txt"), "GetBmp ZP.WLT 1\n");
  // A photo that cannot be written is not there to be decoded.
  fs::remove("ZP.WLT");
  fs::create_directory("ZP.WLT");
  EXPECT_EQ(library->Read_Content(1), 1) << LastError();
#ifndef _WIN32
  fs::remove("ZP.WLT");
  fs::create_symlink("/dev/full", "ZP.WLT");
  EXPECT_EQ(library->Read_Content(1), 1) << LastError();
#endif
  EXPECT_EQ(folder.ReadFile("calls.txt"), "GetBmp ZP.WLT 1\n");
  // A card without a photo has no file to decode.
  for (const char* file : {"WZ.TXT", "ZP.WLT"}) fs::remove(file);
  desk.Put("gat-no-photo");
  EXPECT_EQ(library->Read_Content(1), 1);
  EXPECT_EQ(folder.ReadFile("calls.txt"), "GetBmp ZP.WLT 1\n");
  fs::remove("calls.txt");
}

// The reader tells nobody that it sounded; that the command reached it shows in what it does then.
TEST_F(LegacyInterfaceTest, SoundsTheReaderWhenThereIsAnEngine) {
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
