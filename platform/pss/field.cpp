#include "platform/pss/field.h"

#include "platform/pss/raise.h"

namespace QZ_PSS {

namespace {

int digit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  raise<CORBA::PERSIST_STORE>(MINOR_BAD_RECORD, "a stored identifier is not lower-case hex");
}

}  // namespace

std::string to_hex(const CORBA::OctetSeq& octets) {
  static constexpr char digits[] = "0123456789abcdef";
  std::string text;
  text.reserve(2 * static_cast<std::size_t>(octets.length()));
  for (CORBA::ULong i = 0; i < octets.length(); ++i) {
    text += digits[octets[i] >> 4];
    text += digits[octets[i] & 0xf];
  }
  return text;
}

CORBA::OctetSeq from_hex(const std::string& text) {
  if (text.size() % 2 != 0) raise<CORBA::PERSIST_STORE>(MINOR_BAD_RECORD, "a stored identifier has half an octet");
  CORBA::OctetSeq octets;
  octets.length(static_cast<CORBA::ULong>(text.size() / 2));
  CORBA::Octet* next = octets.get_buffer();
  for (std::size_t i = 0; i < text.size(); i += 2)
    *next++ = static_cast<CORBA::Octet>(digit(text[i]) << 4 | digit(text[i + 1]));
  return octets;
}

}  // namespace QZ_PSS
