// Makes the GIOP messages that a server sends. Pure functions that append to octets.
//
// A reply is begun, given its body, and ended:
//   const auto start = begin_reply(out, to, ReplyStatus::SYSTEM_EXCEPTION);
//   append_system_exception(out, start, to.little_endian, "IDL:omg.org/CORBA/TRANSIENT:1.0", 0, 1);
//   end_message(out, start);
// Alignment counts from the message's start; out may hold other octets before it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "platform/binding/giop/message_header.h"

namespace QZ_Giop {

using Buffer = std::vector<unsigned char>;

enum class ReplyStatus : std::uint32_t {
  NO_EXCEPTION = 0,
  USER_EXCEPTION = 1,
  SYSTEM_EXCEPTION = 2,
  LOCATION_FORWARD = 3,
  LOCATION_FORWARD_PERM = 4,  // LOCATION_FORWARD in GIOP 1.0 and 1.1, which do not know it
};

enum class LocateStatus : std::uint32_t {
  UNKNOWN_OBJECT = 0,
  OBJECT_HERE = 1,
  OBJECT_FORWARD = 2,
  OBJECT_FORWARD_PERM = 3,   // OBJECT_FORWARD in GIOP 1.0 and 1.1
  LOC_SYSTEM_EXCEPTION = 4,  // GIOP 1.2 only
};

// Which request a reply answers, and in what form the client wrote it.
struct ReplyTo {
  Version version;
  bool little_endian = false;
  std::uint32_t request_id = 0;
};

// Return where the message starts; the body comes next, at a multiple of 4 (Reply in GIOP 1.2: of 8) from there.
std::size_t begin_reply(Buffer& out, const ReplyTo& to, ReplyStatus status);
std::size_t begin_locate_reply(Buffer& out, const ReplyTo& to, LocateStatus status);

// Of either kind; an IOR is its body.
std::size_t begin_forward(Buffer& out, const ReplyTo& to, bool locate, bool permanent);

// completion: 0 yes, 1 no, 2 maybe.
void append_system_exception(Buffer& out, std::size_t start, bool little_endian, std::string_view repository_id,
                             std::uint32_t minor, std::uint32_t completion);

// Enters the size of the message that starts there and goes up to the end.
void end_message(Buffer& out, std::size_t start);

void append_message_error(Buffer& out, Version version, bool little_endian);
void append_close_connection(Buffer& out, Version version, bool little_endian);

}  // namespace QZ_Giop
