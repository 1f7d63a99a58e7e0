// The part of a Request or LocateRequest that tells whom it is for. Pure functions over octets.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "platform/binding/giop/message_header.h"

namespace QZ_Giop {

struct RequestHeader {
  Version version;
  bool little_endian = false;
  bool locate = false;
  bool response_expected = true;
  std::uint32_t request_id = 0;
  // A view on the octets that were parsed. Empty also when the request is addressed by a profile that has no IIOP
  // object key.
  std::span<const unsigned char> key;
};

enum class ParseStatus { DONE, INCOMPLETE, MALFORMED };

struct ParseResult {
  ParseStatus status;
  std::size_t needed = 0;  // INCOMPLETE: how many octets of the body are needed at least to get further
};

// octets: as much of the body of a Request or LocateRequest as is at hand, fragments put together. fragment_starts:
// where in it the further fragments begin. A Request is read up to and including the operation's name and, in
// GIOP 1.2, the service contexts behind it: what the server could not read must not be forwarded.
ParseResult parse_request_header(const MessageHeader& message, std::span<const unsigned char> octets,
                                 std::span<const std::uint32_t> fragment_starts, RequestHeader& header);

}  // namespace QZ_Giop
