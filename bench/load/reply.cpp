#include "bench/load/reply.h"

#include <cstring>
#include <stdexcept>

namespace bench {

namespace {

constexpr std::size_t HEADER_SIZE = 12;

std::uint32_t ulong_at(Octets message, std::size_t position) {
  if (position + 4 > message.size()) throw std::runtime_error("a reply is too short");
  std::uint32_t value;
  std::memcpy(&value, message.data() + position, 4);
  const bool little_endian = (message[6] & 1) != 0;
  return little_endian ? value : __builtin_bswap32(value);
}

std::size_t after_contexts(Octets message, std::size_t position) {
  std::uint32_t count = ulong_at(message, position);
  for (position += 4; count > 0; --count) {
    position += 4;
    position += 4 + (ulong_at(message, position) + 3) / 4 * 4;
  }
  return position;
}

}  // namespace

std::optional<std::size_t> message_size(Octets octets) {
  if (octets.size() < HEADER_SIZE) return std::nullopt;
  if (std::memcmp(octets.data(), "GIOP\1", 5) != 0) throw std::runtime_error("the server does not speak GIOP");
  return HEADER_SIZE + ulong_at(octets, 8);
}

Reply parse_reply(Octets message) {
  enum : unsigned char { REPLY = 1, LOCATE_REPLY = 4, CLOSE_CONNECTION = 5 };
  Reply reply;
  std::size_t position = HEADER_SIZE;
  switch (message[7]) {
    case REPLY:
      reply.kind = Reply::Kind::REPLY;
      if (message[5] < 2) position = after_contexts(message, position);
      break;
    case LOCATE_REPLY:
      reply.kind = Reply::Kind::LOCATE_REPLY;
      break;
    case CLOSE_CONNECTION:
      reply.kind = Reply::Kind::CLOSE;
      return reply;
    default:
      return reply;
  }
  reply.request_id = ulong_at(message, position);
  reply.status = ulong_at(message, position + 4);
  if (reply.status >= Reply::STATUSES) throw std::runtime_error("a reply has an unknown status");
  return reply;
}

std::string status_name(Reply::Kind kind, std::uint32_t status) {
  static constexpr const char* REPLIES[] = {"NO_EXCEPTION",     "USER_EXCEPTION",        "SYSTEM_EXCEPTION",
                                            "LOCATION_FORWARD", "LOCATION_FORWARD_PERM", "NEEDS_ADDRESSING_MODE"};
  static constexpr const char* LOCATE_REPLIES[] = {"UNKNOWN_OBJECT",       "OBJECT_HERE",
                                                   "OBJECT_FORWARD",       "OBJECT_FORWARD_PERM",
                                                   "LOC_SYSTEM_EXCEPTION", "LOC_NEEDS_ADDRESSING_MODE"};
  const auto names = kind == Reply::Kind::REPLY ? std::span(REPLIES) : std::span(LOCATE_REPLIES);
  return status < names.size() ? names[status] : std::to_string(status);
}

}  // namespace bench
