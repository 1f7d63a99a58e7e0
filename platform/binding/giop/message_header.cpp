#include "platform/binding/giop/message_header.h"

#include <cstring>

#include "platform/binding/giop/number.h"

namespace QZ_Giop {

namespace {

bool may_be_fragmented(const MessageHeader& header) {
  switch (header.type) {
    case MessageType::REQUEST:
    case MessageType::REPLY:
    case MessageType::LOCATE_REQUEST:
    case MessageType::LOCATE_REPLY:
    case MessageType::FRAGMENT:
      return header.version.minor > 0;
    default:
      return false;
  }
}

}  // namespace

MessageFault parse_message_header(std::span<const unsigned char, MESSAGE_HEADER_SIZE> octets, MessageHeader& header) {
  if (std::memcmp(octets.data(), "GIOP", 4) != 0) return MessageFault::MAGIC;
  header.version = {octets[4], octets[5]};
  if (header.version.major != HIGHEST_VERSION.major || header.version.minor > HIGHEST_VERSION.minor) {
    return MessageFault::VERSION;
  }
  const unsigned flags = octets[6];
  // In GIOP 1.0 this octet is a boolean; later versions reserve the higher bits, which a receiver passes over.
  if (header.version.minor == 0 && flags > 1) return MessageFault::FLAGS;
  header.little_endian = (flags & 1) != 0;
  header.more_fragments = (flags & 2) != 0;

  const auto last = header.version.minor == 0 ? MessageType::MESSAGE_ERROR : MessageType::FRAGMENT;
  if (octets[7] > static_cast<std::uint8_t>(last)) return MessageFault::TYPE;
  header.type = static_cast<MessageType>(octets[7]);
  if (header.more_fragments && !may_be_fragmented(header)) return MessageFault::FLAGS;

  header.size = number_at<std::uint32_t>(octets.data() + 8, header.little_endian);
  return MessageFault::NONE;
}

}  // namespace QZ_Giop
