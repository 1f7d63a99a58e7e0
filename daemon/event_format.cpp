#include "daemon/event_format.h"

#include <spdlog/fmt/fmt.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <qz_logging.hh>

namespace poalocd {

namespace {

bool is_digit(char c) {
  return c >= '0' && c <= '9';
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

void append_escaped(std::string& line, const std::string& text) {
  // Nearly every text is plain as a whole, which is seen fastest when the search does not stop.
  bool plain = true;
  for (const char c : text) plain &= is_plain(c);
  if (plain) {
    line += text;
    return;
  }
  for (const char c : text) {
    if (is_plain(c))
      line += c;
    else
      line += escape_of(c);
  }
}

}  // namespace

std::string substitute(std::string_view text, const std::vector<std::string>& parameters) {
  std::size_t size = text.size();
  for (const std::string& parameter : parameters) size += parameter.size();
  std::string result;
  result.reserve(size);
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

std::string message_of(std::string_view text, const std::vector<std::string>& parameters) {
  std::string message = substitute(text, parameters);
  message.erase(message.find_last_not_of("\r\n") + 1);
  return message;
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
  std::string text = "0000-00-00T00:00:00.000000Z";
  const auto put = [&text](std::size_t end, auto number) {
    for (; number > 0; number /= 10) text[--end] = static_cast<char>('0' + number % 10);
  };
  put(4, static_cast<int>(date.year()));
  put(7, static_cast<unsigned>(date.month()));
  put(10, static_cast<unsigned>(date.day()));
  put(13, clock.hours().count());
  put(16, clock.minutes().count());
  put(19, clock.seconds().count());
  put(26, clock.subseconds().count());
  return text;
}

std::string text_line(const Event& event) {
  constexpr std::size_t OTHERS = 64;  // time, priority and number
  std::string line = time_text(event.time);
  line.reserve(OTHERS + event.subsystem.size() + event.message.size());
  line.append(" ").append(priority_name(event.priority)).append(" ");
  append_escaped(line, event.subsystem);
  line.append(" ").append(std::to_string(event.id)).append(" ");
  append_escaped(line, event.message);
  return line;
}

std::string json_line(const Event& event) {
  const nlohmann::ordered_json line = {
      {"time", time_text(event.time)}, {"subsystem", event.subsystem}, {"id", event.id},
      {"priority", event.priority},    {"message", event.message},     {"parameters", event.parameters}};
  return line.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

}  // namespace poalocd
