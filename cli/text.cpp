#include "cli/text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cwchar>
#include <cwctype>
#include <optional>

#include "cli/failure.h"

namespace poaloc {

namespace {

struct Unit {
  const char* name;
  std::uint64_t milliseconds;
};
constexpr std::array<Unit, 4> UNITS{{{"h", 3'600'000}, {"m", 60'000}, {"s", 1'000}, {"ms", 1}}};

bool is_printable(unsigned char octet) {
  return octet >= 0x20 && octet < 0x7f;
}

// What a terminal does not show but obeys: control characters, those of C1 too, and those that turn the direction of
// what follows.
bool is_obeyed(wchar_t character) {
  const bool is_direction = character == 0x061c || character == 0x200e || character == 0x200f ||
                            (character >= 0x202a && character <= 0x202e) ||
                            (character >= 0x2066 && character <= 0x2069);
  return is_direction || std::iswcntrl(static_cast<std::wint_t>(character)) != 0;
}

// use(octets, character) for each character of UTF-8; an octet that belongs to none comes alone, without character.
template <class Use>
void for_each_character(const std::string& text, Use use) {
  for (std::size_t position = 0; position < text.size();) {
    wchar_t character = 0;
    std::mbstate_t state{};
    const std::size_t length = std::mbrtowc(&character, text.data() + position, text.size() - position, &state);
    const bool valid = length <= text.size();
    // A NUL has the length 0.
    const std::size_t octets = valid ? std::max<std::size_t>(length, 1) : 1;
    use(text.substr(position, octets), valid ? std::optional(character) : std::nullopt);
    position += octets;
  }
}

int digit(char character) {
  if (character >= '0' && character <= '9') return character - '0';
  if (character >= 'a' && character <= 'f') return character - 'a' + 10;
  if (character >= 'A' && character <= 'F') return character - 'A' + 10;
  return -1;
}

}  // namespace

std::string printable(const std::string& text) {
  constexpr char digits[] = "0123456789abcdef";
  std::string result;
  for_each_character(text, [&](const std::string& octets, std::optional<wchar_t> character) {
    if (character && !is_obeyed(*character)) {
      result += octets;
      return;
    }
    if (octets == "\n") {
      result += "\\n";
      return;
    }
    for (const char c : octets) {
      const auto octet = static_cast<unsigned char>(c);
      result += {'\\', 'x', digits[octet >> 4], digits[octet & 15]};
    }
  });
  return result;
}

std::size_t display_width(const std::string& text) {
  std::size_t width = 0;
  for_each_character(text, [&](const std::string&, std::optional<wchar_t> character) {
    const int columns = character ? ::wcwidth(*character) : 1;
    width += columns < 0 ? 1 : static_cast<std::size_t>(columns);
  });
  return width;
}

std::string cell_text(const Json& value) {
  if (value.is_null()) return "-";
  if (value.is_boolean()) return value.get<bool>() ? "yes" : "no";
  if (value.is_string()) {
    const auto text = printable(value.get<std::string>());
    return text.empty() ? "-" : text;
  }
  if (!value.is_array()) return to_line(value);
  std::string result;
  for (const Json& element : value) result += (result.empty() ? "" : ", ") + cell_text(element);
  return result.empty() ? "-" : result;
}

std::chrono::milliseconds parse_duration(const std::string& text) {
  std::uint64_t number = 0;
  const char* const end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, number);
  const std::string unit(rest, end);
  // Far below what would overflow, far above what anybody waits.
  constexpr std::uint64_t LIMIT = 10'000'000'000;
  if (error == std::errc() && number < LIMIT) {
    if (number == 0 && unit.empty()) return std::chrono::milliseconds(0);
    for (const Unit& known : UNITS)
      if (unit == known.name) return std::chrono::milliseconds(number * known.milliseconds);
  }
  throw Failure(USAGE,
                "\"" + printable(text) + "\" is no duration: write a number and a unit, as in 500ms, 30s or 2m.");
}

std::string duration_text(std::uint64_t milliseconds) {
  if (milliseconds == 0) return "0";
  const auto unit =
      std::find_if(UNITS.begin(), UNITS.end(), [&](const Unit& u) { return milliseconds % u.milliseconds == 0; });
  return std::to_string(milliseconds / unit->milliseconds) + unit->name;
}

Json time_json(std::uint64_t microseconds) {
  if (microseconds == 0) return nullptr;
  const auto seconds = static_cast<std::time_t>(microseconds / 1'000'000);
  std::tm parts{};
  ::gmtime_r(&seconds, &parts);
  char text[32];
  std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts);
  return text;
}

std::string to_hex(const std::vector<unsigned char>& octets) {
  constexpr char digits[] = "0123456789abcdef";
  std::string result;
  for (const unsigned char octet : octets) result += {digits[octet >> 4], digits[octet & 15]};
  return result;
}

std::vector<unsigned char> from_hex(const std::string& text) {
  std::vector<unsigned char> result;
  for (std::size_t i = 0; i + 1 < text.size(); i += 2) {
    const int high = digit(text[i]);
    const int low = digit(text[i + 1]);
    if (high < 0 || low < 0) break;
    result.push_back(static_cast<unsigned char>(high << 4 | low));
  }
  if (result.size() * 2 != text.size())
    throw Failure(USAGE, "\"" + printable(text) + "\" is not hexadecimal: write two digits for each octet.");
  return result;
}

std::string octets_text(const std::vector<unsigned char>& octets) {
  const std::string text(octets.begin(), octets.end());
  return std::all_of(octets.begin(), octets.end(), is_printable) && !text.starts_with("0x") ? text
                                                                                            : "0x" + to_hex(octets);
}

}  // namespace poaloc
