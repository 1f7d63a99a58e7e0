#include "platform/binding/giop/message_encoder.h"

#include <array>
#include <cstring>

#include "platform/binding/giop/number.h"

namespace QZ_Giop {

namespace {

constexpr std::size_t SIZE_POSITION = 8;
constexpr std::size_t FLAGS_POSITION = 6;

void append_ulong(Buffer& out, bool little_endian, std::uint32_t value) {
  std::array<unsigned char, 4> octets;
  const std::uint32_t ordered = in_byte_order(value, little_endian);
  std::memcpy(octets.data(), &ordered, sizeof ordered);
  out.insert(out.end(), octets.begin(), octets.end());
}

void align(Buffer& out, std::size_t start, std::size_t alignment) {
  const std::size_t excess = (out.size() - start) % alignment;
  if (excess != 0) out.resize(out.size() + alignment - excess);
}

// With the numbers that its body begins with, all in one piece.
template <std::size_t NUMBERS>
std::size_t begin_message(Buffer& out, Version version, bool little_endian, MessageType type,
                          const std::array<std::uint32_t, NUMBERS>& numbers) {
  const std::size_t start = out.size();
  std::array<unsigned char, MESSAGE_HEADER_SIZE + NUMBERS * sizeof(std::uint32_t)> octets{
      'G', 'I', 'O', 'P', version.major, version.minor, little_endian, static_cast<unsigned char>(type)};
  for (std::size_t i = 0; i < NUMBERS; ++i) {
    const std::uint32_t ordered = in_byte_order(numbers[i], little_endian);
    std::memcpy(octets.data() + MESSAGE_HEADER_SIZE + i * sizeof ordered, &ordered, sizeof ordered);
  }
  out.insert(out.end(), octets.begin(), octets.end());
  return start;
}

}  // namespace

std::size_t begin_reply(Buffer& out, const ReplyTo& to, ReplyStatus status) {
  const bool old = to.version.minor < 2;
  if (old && status == ReplyStatus::LOCATION_FORWARD_PERM) status = ReplyStatus::LOCATION_FORWARD;
  constexpr std::uint32_t NO_CONTEXTS = 0;
  const auto code = static_cast<std::uint32_t>(status);
  if (old)
    return begin_message<3>(out, to.version, to.little_endian, MessageType::REPLY, {NO_CONTEXTS, to.request_id, code});
  // Behind the twelve octets of the message header these twelve end at a multiple of 8.
  return begin_message<3>(out, to.version, to.little_endian, MessageType::REPLY, {to.request_id, code, NO_CONTEXTS});
}

std::size_t begin_locate_reply(Buffer& out, const ReplyTo& to, LocateStatus status) {
  if (to.version.minor < 2 && status == LocateStatus::OBJECT_FORWARD_PERM) status = LocateStatus::OBJECT_FORWARD;
  return begin_message<2>(out, to.version, to.little_endian, MessageType::LOCATE_REPLY,
                          {to.request_id, static_cast<std::uint32_t>(status)});
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
  const auto size = static_cast<std::uint32_t>(out.size() - start - MESSAGE_HEADER_SIZE);
  const std::uint32_t ordered = in_byte_order(size, message[FLAGS_POSITION] != 0);
  std::memcpy(message + SIZE_POSITION, &ordered, sizeof ordered);
}

void append_message_error(Buffer& out, Version version, bool little_endian) {
  begin_message<0>(out, version, little_endian, MessageType::MESSAGE_ERROR, {});
}

void append_close_connection(Buffer& out, Version version, bool little_endian) {
  begin_message<0>(out, version, little_endian, MessageType::CLOSE_CONNECTION, {});
}

}  // namespace QZ_Giop
