#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace bench {

using Octets = std::span<const unsigned char>;

// Octets of the message that begins there; nothing while that cannot be told. std::runtime_error when it is no GIOP.
std::optional<std::size_t> message_size(Octets octets);

// What a server's message says.
struct Reply {
  enum class Kind : std::uint8_t { REPLY, LOCATE_REPLY, CLOSE, OTHER };
  static constexpr std::size_t STATUSES = 8;

  Kind kind = Kind::OTHER;
  std::uint32_t request_id = 0;
  std::uint32_t status = 0;  // below STATUSES
};

// A whole message. std::runtime_error when it is malformed.
Reply parse_reply(Octets message);

// As CORBA names it.
std::string status_name(Reply::Kind kind, std::uint32_t status);

}  // namespace bench
