// Reply and LocateReply messages, read by hand.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tests/support/giop_message.h"

namespace support {

enum ReplyStatus : std::uint32_t { NO_EXCEPTION = 0, USER_EXCEPTION = 1, SYSTEM_EXCEPTION = 2, LOCATION_FORWARD = 3 };

enum LocateStatus : std::uint32_t { UNKNOWN_OBJECT = 0, OBJECT_HERE = 1, OBJECT_FORWARD = 2, LOC_SYSTEM_EXCEPTION = 4 };

// One message off the wire, header included.
struct RawMessage {
  Octets octets;

  unsigned minor() const { return octets[5]; }
  ByteOrder order() const { return static_cast<ByteOrder>(octets[6] & 1); }
  bool more_fragments() const { return (octets[6] & 2) != 0; }
  MessageType type() const { return static_cast<MessageType>(octets[7]); }
};

struct SystemException {
  std::string id;
  std::uint32_t minor = 0;
  std::uint32_t completed = 0;  // 0 yes, 1 no, 2 maybe
};

// A reference as it stands in a forward. The members are those of its first IIOP profile.
struct ForwardedReference {
  std::string type_id;
  std::string host;
  unsigned port = 0;
  Octets key;
  std::vector<std::uint32_t> profile_tags;
  std::vector<std::uint32_t> component_tags;
};

struct Reply {
  Dialect dialect;
  MessageType type = REPLY;
  std::uint32_t id = 0;
  std::uint32_t status = 0;
  std::optional<SystemException> exception;
  std::optional<ForwardedReference> forward;
  Octets body;  // as it is when the status is another
};

// Raises std::runtime_error when the message is neither, or is not well formed to its last octet.
Reply parse_reply(const RawMessage& message);

// The reference at the reader's position.
ForwardedReference read_reference(CdrReader& in);

// "IOR:" and hexadecimal digits.
ForwardedReference parse_stringified_reference(const std::string& text);

// For the messages of failing tests.
std::string describe(const Reply& reply);

}  // namespace support
