#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "card_record.h"
#include "failure.h"

namespace readcard {

// All of these return UTF-8 text that ends with a line feed.

// For people: aligned lines, one for each field that the card has.
std::string CardText(const CardRecord& card);
std::string FailureText(const Failure& failure);
// One line, for many reads in a row.
std::string CardLine(const CardRecord& card, std::chrono::milliseconds duration);

// For programs: one JSON document on one line.
std::string CardJson(const CardRecord& card, std::chrono::milliseconds duration, bool blocks);
std::string FailureJson(const Failure& failure,
                        std::optional<std::chrono::milliseconds> duration = std::nullopt);

}  // namespace readcard
