// The twelve octets with which every GIOP message begins (CORBA 3.3 part 2, 9.4.1). Pure functions over octets.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace QZ_Giop {

inline constexpr std::size_t MESSAGE_HEADER_SIZE = 12;

struct Version {
  std::uint8_t major = 1;
  std::uint8_t minor = 0;
  bool operator==(const Version&) const = default;
};
inline constexpr Version HIGHEST_VERSION{1, 2};

enum class MessageType : std::uint8_t {
  REQUEST = 0,
  REPLY = 1,
  CANCEL_REQUEST = 2,
  LOCATE_REQUEST = 3,
  LOCATE_REPLY = 4,
  CLOSE_CONNECTION = 5,
  MESSAGE_ERROR = 6,
  FRAGMENT = 7,
};

struct MessageHeader {
  Version version;
  bool little_endian = false;
  bool more_fragments = false;
  MessageType type = MessageType::MESSAGE_ERROR;
  std::uint32_t size = 0;  // octets that follow the twelve
};

// Why octets are no acceptable message.
enum class MessageFault {
  NONE,
  MAGIC,
  VERSION,
  FLAGS,                 // not of this version, or fragments of what cannot be fragmented
  TYPE,                  // not of this version
  UNEXPECTED,            // a message that only a client may receive
  SIZE,                  // not what such a message has
  REQUEST_HEADER,        // malformed or cut off
  REQUEST_HEADER_SIZE,   // over the limit
  INCOMPLETE_REQUESTS,   // too many at once
  FRAGMENT_OF_NOTHING,   // its request has not begun
  FRAGMENTED_ID_REUSED,  // two requests of one id in fragments at once
};

// The fault, or NONE and the header. After VERSION the header holds the version alone.
MessageFault parse_message_header(std::span<const unsigned char, MESSAGE_HEADER_SIZE> octets, MessageHeader& header);

}  // namespace QZ_Giop
