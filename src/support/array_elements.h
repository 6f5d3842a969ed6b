#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace idcardreader {

// Reads decimal numbers that commas separate, each as atoi would and stored as its low 8 bits.
// Returns their count; those beyond the capacity are counted, not stored. A comma at the end is
// followed by no element. An element of 8 or more characters ends the process.
std::uint32_t ReadElements(std::string_view elements, std::uint8_t* bytes, std::size_t capacity);

}  // namespace idcardreader
