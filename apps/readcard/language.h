#pragma once

namespace readcard {

enum class Language { english, chinese };

// One text of the program in both languages, UTF-8.
struct Text {
  const char* english;
  const char* chinese;

  const char* In(Language language) const {
    return language == Language::chinese ? chinese : english;
  }
};

}  // namespace readcard
