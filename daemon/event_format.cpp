#include "daemon/event_format.h"

#include <spdlog/fmt/compile.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <qz_logging.hh>

namespace poalocd {

namespace {

bool is_digit(char c) {
  return c >= '0' && c <= '9';
}

std::string without_trailing_breaks(std::string text) {
  text.erase(text.find_last_not_of("\r\n") + 1);
  return text;
}

bool is_plain(char c) {
  const auto octet = static_cast<unsigned char>(c);
  return octet >= 0x20 && octet != 0x7F && c != '\\';
}

std::string escape_of(char c) {
  if (c == '\n') return "\\n";
  if (c == '\\') return "\\\\";
  return fmt::format("\\x{:02x}", static_cast<unsigned char>(c));
}

// Nearly every text is plain as a whole.
void append_escaped(std::string& line, const std::string& text) {
  for (auto next = text.begin(); next != text.end(); ++next) {
    const auto special = std::find_if_not(next, text.end(), is_plain);
    line.append(next, special);
    if (special == text.end()) return;
    line += escape_of(*special);
    next = special;
  }
}

}  // namespace

std::string substitute(const std::string& text, const std::vector<std::string>& parameters) {
  std::string result;
  for (std::size_t begin = 0;;) {
    const std::size_t percent = std::min(text.find('%', begin), text.size());
    result.append(text, begin, percent - begin);
    if (percent == text.size()) return result;
    std::size_t end = percent + 1;
    std::size_t index = 0;
    for (; end < text.size() && is_digit(text[end]) && index <= parameters.size(); ++end)
      index = index * 10 + static_cast<std::size_t>(text[end] - '0');
    if (end > percent + 1 && index < parameters.size())
      result += parameters[index];
    else
      result.append(text, percent, end - percent);
    begin = end;
  }
}

std::string priority_name(std::uint32_t priority) {
  switch (priority) {
    case QZ_Logging::INFORMATION:
      return "information";
    case QZ_Logging::WARNING:
      return "warning";
    case QZ_Logging::ERROR_PRIORITY:
      return "error";
    default:
      return std::to_string(priority);
  }
}

std::string time_text(std::chrono::system_clock::time_point time) {
  const auto day = std::chrono::floor<std::chrono::days>(time);
  const std::chrono::year_month_day date(day);
  const std::chrono::hh_mm_ss clock(std::chrono::floor<std::chrono::microseconds>(time - day));
  return fmt::format(FMT_COMPILE("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}.{:06}Z"), static_cast<int>(date.year()),
                     static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()), clock.hours().count(),
                     clock.minutes().count(), clock.seconds().count(), clock.subseconds().count());
}

std::string message_of(const Event& event) {
  return without_trailing_breaks(substitute(event.text, event.parameters));
}

std::string text_line(const Event& event) {
  std::string line = time_text(event.time) + " " + priority_name(event.priority) + " ";
  append_escaped(line, event.subsystem);
  line += " " + std::to_string(event.id) + " ";
  append_escaped(line, message_of(event));
  return line;
}

std::string json_line(const Event& event) {
  const nlohmann::ordered_json line = {
      {"time", time_text(event.time)}, {"subsystem", event.subsystem}, {"id", event.id},
      {"priority", event.priority},    {"message", message_of(event)}, {"parameters", event.parameters}};
  return line.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

}  // namespace poalocd
