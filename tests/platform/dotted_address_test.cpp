#include <gtest/gtest.h>

#include <string>

#include "platform/socket.h"

namespace idcardreader::platform {
namespace {

TEST(IsDottedAddress, TakesFourNumbersUpTo255) {
  for (const char* text : {"0.0.0.0", "127.0.0.1", "255.255.255.255", "10.20.30.40"}) {
    EXPECT_TRUE(IsDottedAddress(text)) << text;
  }
}

TEST(IsDottedAddress, TakesNothingElse) {
  for (const std::string& text :
       {std::string(), std::string("1.2.3"), std::string("1.2.3.4.5"), std::string("1.2.3."),
        std::string(".1.2.3"), std::string("1..2.3"), std::string("256.1.1.1"),
        std::string("1.2.3.1000"), std::string("1.2.3.4 "), std::string(" 1.2.3.4"),
        std::string("1.2.3.4\0", 8), std::string("a.b.c.d"), std::string("1.2.3.4:80"),
        std::string("+1.2.3.4"), std::string("010.2.3.4"), std::string("host.example"),
        std::string("4294967295"), std::string("99999999999999999999.1.1.1")}) {
    EXPECT_FALSE(IsDottedAddress(text)) << text;
  }
}

}  // namespace
}  // namespace idcardreader::platform
