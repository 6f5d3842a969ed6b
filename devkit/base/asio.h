#pragma once

// Asio looks at macros of the standard library to decide how it allocates, and so must not be the
// first to be included: sources would come to disagree about it.
// clang-format off
#include <cstddef>
#include <asio.hpp>
// clang-format on
