#include "platform/pss/field.h"

#include <array>

#include "platform/pss/raise.h"

namespace QZ_PSS {

namespace {

constexpr std::string_view DIGITS = "0123456789abcdef";
constexpr unsigned char NO_DIGIT = 0xff;

constexpr std::array<unsigned char, 256> DIGIT_VALUES = [] {
  std::array<unsigned char, 256> values{};
  values.fill(NO_DIGIT);
  for (std::size_t i = 0; i < DIGITS.size(); ++i)
    values[static_cast<unsigned char>(DIGITS[i])] = static_cast<unsigned char>(i);
  return values;
}();

unsigned char digit(char c) {
  return DIGIT_VALUES[static_cast<unsigned char>(c)];
}

}  // namespace

std::string to_hex(const CORBA::OctetSeq& octets) {
  std::string text;
  text.reserve(2 * static_cast<std::size_t>(octets.length()));
  for (CORBA::ULong i = 0; i < octets.length(); ++i) {
    text += DIGITS[octets[i] >> 4];
    text += DIGITS[octets[i] & 0xf];
  }
  return text;
}

CORBA::OctetSeq from_hex(std::string_view text) {
  if (text.size() % 2 != 0) raise<CORBA::PERSIST_STORE>(MINOR_BAD_RECORD, "a stored identifier has half an octet");
  CORBA::OctetSeq octets;
  octets.length(static_cast<CORBA::ULong>(text.size() / 2));
  CORBA::Octet* next = octets.get_buffer();
  unsigned char seen = 0;  // its high half stays 0 as long as all were digits
  for (std::size_t i = 0; i < text.size(); i += 2) {
    const unsigned char high = digit(text[i]);
    const unsigned char low = digit(text[i + 1]);
    seen |= high | low;
    *next++ = static_cast<CORBA::Octet>(high << 4 | low);
  }
  if (seen > 0xf) raise<CORBA::PERSIST_STORE>(MINOR_BAD_RECORD, "a stored identifier is not lower-case hex");
  return octets;
}

}  // namespace QZ_PSS
