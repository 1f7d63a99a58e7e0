#include "platform/binding/giop/request_header.h"

#include "platform/binding/giop/body_reader.h"
#include "platform/orb/cdr_reader.h"
#include "platform/orb/iiop_profile.h"

namespace QZ_Giop {

namespace {

using Octets = std::span<const unsigned char>;

// What an element of a list has at least that consists of a tag and a sequence of octets.
constexpr std::uint64_t SMALLEST_TAGGED = 8;

enum Addressing : std::uint16_t { KEY = 0, PROFILE = 1, REFERENCE = 2 };

Octets key_of_profile(std::uint32_t tag, Octets body) {
  if (tag != QZ_IOR::TAG_INTERNET_IOP) return {};
  try {
    return QZ_IOR::IIOPProfile(body).object_key();
  } catch (const QZ_CORBA::CdrError&) {
    return {};
  }
}

Octets read_target(BodyReader& reader) {
  switch (reader.read_ushort()) {
    case KEY:
      return reader.read_octet_seq();
    case PROFILE: {
      const std::uint32_t tag = reader.read_ulong();
      const Octets body = reader.read_octet_seq();
      return reader.ok() ? key_of_profile(tag, body) : Octets();
    }
    case REFERENCE: {
      const std::uint32_t selected = reader.read_ulong();
      reader.read_octet_seq();  // type id
      const std::uint32_t count = reader.read_ulong();
      std::uint32_t selected_tag = 0;
      Octets selected_body;
      for (std::uint32_t i = 0; i < count && reader.ok(); ++i) {
        reader.require(SMALLEST_TAGGED * (count - i));
        const std::uint32_t tag = reader.read_ulong();
        const Octets body = reader.read_octet_seq();
        if (i != selected) continue;
        selected_tag = tag;
        selected_body = body;
      }
      return reader.ok() ? key_of_profile(selected_tag, selected_body) : Octets();
    }
    default:
      reader.fail();
      return {};
  }
}

void skip_service_contexts(BodyReader& reader) {
  const std::uint32_t count = reader.read_ulong();
  for (std::uint32_t i = 0; i < count && reader.ok(); ++i) {
    // A header that creeps in is not read again from its beginning for each of them.
    reader.require(SMALLEST_TAGGED * (count - i));
    reader.read_ulong();
    reader.read_octet_seq();
  }
}

ParseResult parse(BodyReader reader, RequestHeader& header) {
  const bool has_target = header.version.minor >= 2;
  if (header.locate) {
    header.request_id = reader.read_ulong();
    header.response_expected = true;
    header.key = has_target ? read_target(reader) : reader.read_octet_seq();
  } else if (has_target) {
    header.request_id = reader.read_ulong();
    header.response_expected = (reader.read_octet() & 1) != 0;
    reader.read_octets(3);  // reserved
    header.key = read_target(reader);
    reader.skip_string();
    skip_service_contexts(reader);
  } else {
    skip_service_contexts(reader);
    header.request_id = reader.read_ulong();
    header.response_expected = reader.read_boolean();
    if (header.version.minor == 1) reader.read_octets(3);  // reserved
    header.key = reader.read_octet_seq();
    reader.skip_string();
  }
  if (reader.ok()) return {ParseStatus::DONE};
  if (reader.malformed()) return {ParseStatus::MALFORMED};
  return {ParseStatus::INCOMPLETE, reader.needed()};
}

}  // namespace

ParseResult parse_request_header(const MessageHeader& message, std::span<const unsigned char> octets,
                                 std::span<const std::uint32_t> fragment_starts, RequestHeader& header) {
  header.version = message.version;
  header.little_endian = message.little_endian;
  header.locate = message.type == MessageType::LOCATE_REQUEST;
  // GIOP 1.2 keeps the length of fragments such that alignment goes on across them.
  const bool each_aligned = message.version.minor == 1;
  return parse(BodyReader(octets, message.little_endian, each_aligned ? fragment_starts : decltype(fragment_starts){}),
               header);
}

}  // namespace QZ_Giop
