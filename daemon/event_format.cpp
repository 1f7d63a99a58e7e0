#include "daemon/event_format.h"

#include <algorithm>
#include <cstdio>
#include <ctime>
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

std::string escaped(const std::string& text) {
  std::string result;
  for (const char c : text) {
    const auto octet = static_cast<unsigned char>(c);
    if (c == '\n') {
      result += "\\n";
    } else if (c == '\\') {
      result += "\\\\";
    } else if (octet < 0x20 || octet == 0x7F) {
      char code[5];
      std::snprintf(code, sizeof code, "\\x%02x", static_cast<unsigned>(octet));
      result += code;
    } else {
      result += c;
    }
  }
  return result;
}

}  // namespace

std::string substitute(const std::string& text, const std::vector<std::string>& parameters) {
  std::string result;
  for (std::size_t i = 0; i < text.size();) {
    std::size_t end = i + 1;
    std::size_t index = 0;
    if (text[i] == '%')
      for (; end < text.size() && is_digit(text[end]) && index <= parameters.size(); ++end)
        index = index * 10 + static_cast<std::size_t>(text[end] - '0');
    if (end > i + 1 && index < parameters.size())
      result += parameters[index];
    else
      result.append(text, i, end - i);
    i = end;
  }
  return result;
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
  const auto since = std::chrono::duration_cast<std::chrono::microseconds>(time.time_since_epoch());
  const auto seconds = std::chrono::floor<std::chrono::seconds>(since);
  const std::time_t whole = static_cast<std::time_t>(seconds.count());
  std::tm parts{};
  gmtime_r(&whole, &parts);
  char date[32];
  std::strftime(date, sizeof date, "%Y-%m-%dT%H:%M:%S", &parts);
  char text[48];
  std::snprintf(text, sizeof text, "%s.%06lldZ", date, static_cast<long long>((since - seconds).count()));
  return text;
}

std::string message_of(const Event& event) {
  return without_trailing_breaks(substitute(event.text, event.parameters));
}

std::string text_line(const Event& event) {
  return time_text(event.time) + " " + priority_name(event.priority) + " " + escaped(event.subsystem) + " " +
         std::to_string(event.id) + " " + escaped(message_of(event));
}

std::string json_line(const Event& event) {
  const nlohmann::ordered_json line = {
      {"time", time_text(event.time)}, {"subsystem", event.subsystem}, {"id", event.id},
      {"priority", event.priority},    {"message", message_of(event)}, {"parameters", event.parameters}};
  return line.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

}  // namespace poalocd
