#include "platform/binding/giop/message_encoder.h"

#include <algorithm>
#include <array>

namespace QZ_Giop {

namespace {

constexpr std::size_t SIZE_POSITION = 8;
constexpr std::size_t FLAGS_POSITION = 6;

std::array<unsigned char, 4> octets_of(bool little_endian, std::uint32_t value) {
  std::array<unsigned char, 4> octets;
  for (unsigned i = 0; i < 4; ++i) octets[i] = static_cast<unsigned char>(value >> 8 * i);
  if (!little_endian) std::reverse(octets.begin(), octets.end());
  return octets;
}

void append_ulong(Buffer& out, bool little_endian, std::uint32_t value) {
  const auto octets = octets_of(little_endian, value);
  out.insert(out.end(), octets.begin(), octets.end());
}

void align(Buffer& out, std::size_t start, std::size_t alignment) {
  const std::size_t excess = (out.size() - start) % alignment;
  if (excess != 0) out.resize(out.size() + alignment - excess);
}

std::size_t begin_message(Buffer& out, Version version, bool little_endian, MessageType type) {
  const std::size_t start = out.size();
  const unsigned char octets[] = {
      'G', 'I', 'O', 'P', version.major, version.minor, little_endian, static_cast<unsigned char>(type),
      0,   0,   0,   0};  // the size
  out.insert(out.end(), std::begin(octets), std::end(octets));
  return start;
}

}  // namespace

std::size_t begin_reply(Buffer& out, const ReplyTo& to, ReplyStatus status) {
  const bool old = to.version.minor < 2;
  if (old && status == ReplyStatus::LOCATION_FORWARD_PERM) status = ReplyStatus::LOCATION_FORWARD;
  constexpr std::uint32_t NO_CONTEXTS = 0;

  const std::size_t start = begin_message(out, to.version, to.little_endian, MessageType::REPLY);
  if (old) append_ulong(out, to.little_endian, NO_CONTEXTS);
  append_ulong(out, to.little_endian, to.request_id);
  append_ulong(out, to.little_endian, static_cast<std::uint32_t>(status));
  if (!old) {
    append_ulong(out, to.little_endian, NO_CONTEXTS);
    align(out, start, 8);
  }
  return start;
}

std::size_t begin_locate_reply(Buffer& out, const ReplyTo& to, LocateStatus status) {
  if (to.version.minor < 2 && status == LocateStatus::OBJECT_FORWARD_PERM) status = LocateStatus::OBJECT_FORWARD;
  const std::size_t start = begin_message(out, to.version, to.little_endian, MessageType::LOCATE_REPLY);
  append_ulong(out, to.little_endian, to.request_id);
  append_ulong(out, to.little_endian, static_cast<std::uint32_t>(status));
  return start;
}

std::size_t begin_forward(Buffer& out, const ReplyTo& to, bool locate, bool permanent) {
  if (locate) {
    return begin_locate_reply(out, to, permanent ? LocateStatus::OBJECT_FORWARD_PERM : LocateStatus::OBJECT_FORWARD);
  }
  return begin_reply(out, to, permanent ? ReplyStatus::LOCATION_FORWARD_PERM : ReplyStatus::LOCATION_FORWARD);
}

void append_system_exception(Buffer& out, std::size_t start, bool little_endian, std::string_view repository_id,
                             std::uint32_t minor, std::uint32_t completion) {
  append_ulong(out, little_endian, static_cast<std::uint32_t>(repository_id.size() + 1));
  out.insert(out.end(), repository_id.begin(), repository_id.end());
  out.push_back(0);
  align(out, start, 4);
  append_ulong(out, little_endian, minor);
  append_ulong(out, little_endian, completion);
}

void end_message(Buffer& out, std::size_t start) {
  unsigned char* message = out.data() + start;
  const bool little_endian = message[FLAGS_POSITION] != 0;
  const auto size = octets_of(little_endian, static_cast<std::uint32_t>(out.size() - start - MESSAGE_HEADER_SIZE));
  std::copy(size.begin(), size.end(), message + SIZE_POSITION);
}

void append_message_error(Buffer& out, Version version, bool little_endian) {
  begin_message(out, version, little_endian, MessageType::MESSAGE_ERROR);
}

void append_close_connection(Buffer& out, Version version, bool little_endian) {
  begin_message(out, version, little_endian, MessageType::CLOSE_CONNECTION);
}

}  // namespace QZ_Giop
