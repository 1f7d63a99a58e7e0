// Events as lines of text. Each is one line without its newline, whatever the message holds.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace poalocd {

struct Event {
  std::chrono::system_clock::time_point time;
  std::string subsystem;
  std::uint32_t id;
  std::uint32_t priority;
  std::string message;
  std::vector<std::string> parameters;
};

// %N becomes parameter N; a % that names no parameter stays as it is. Parameters are not searched for more.
std::string substitute(std::string_view text, const std::vector<std::string>& parameters);
// The same without trailing line breaks: what an event says.
std::string message_of(std::string_view text, const std::vector<std::string>& parameters);
// "information", "warning", "error"; another number as it is.
std::string priority_name(std::uint32_t priority);
// Universal time: 2030-01-31T23:59:59.123456Z
std::string time_text(std::chrono::system_clock::time_point time);

// TIME PRIORITY SUBSYSTEM ID MESSAGE. Line breaks within the message are written as \n, other control characters
// as \xNN, a backslash as two.
std::string text_line(const Event& event);
// An object with time, subsystem, id, priority (a number), message and parameters. Octets that are no UTF-8 become
// U+FFFD.
std::string json_line(const Event& event);

}  // namespace poalocd
