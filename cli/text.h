// Texts of the command line and for the terminal.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "cli/json.h"

namespace poaloc {

// The locale must be one of UTF-8.

// Line breaks are written as \n; other characters that a terminal would obey, and what is no UTF-8, as \xNN: no name
// can do more than be shown.
std::string printable(const std::string& text);
// Columns that it takes on a terminal.
std::size_t display_width(const std::string& text);

// A JSON value as a table shows it: yes and no, "-" for nothing, a list joined by ", ".
std::string cell_text(const Json& value);

// "500ms", "30s", "2m", "1h", or "0". Failure (USAGE) for anything else.
std::chrono::milliseconds parse_duration(const std::string& text);
// The same way back, in the largest unit that gives a whole number.
std::string duration_text(std::uint64_t milliseconds);

// Microseconds since 1970 as 2030-01-31T23:59:59Z; null for 0.
Json time_json(std::uint64_t microseconds);

std::string to_hex(const std::vector<unsigned char>& octets);
// Failure (USAGE) when it is not hexadecimal.
std::vector<unsigned char> from_hex(const std::string& text);
// Octets as text where all of them are printable ASCII and cannot be taken for the other way, "0x" and hexadecimal.
std::string octets_text(const std::vector<unsigned char>& octets);

}  // namespace poaloc
