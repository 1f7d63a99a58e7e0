#include "tests/support/giop_message.h"

#include <algorithm>

namespace support {

namespace {

constexpr unsigned MORE_FRAGMENTS = 2;
constexpr std::uint32_t TAG_INTERNET_IOP = 0;
constexpr std::uint32_t TAG_MULTIPLE_COMPONENTS = 1;

CdrWriter begin_message(const Dialect& dialect, MessageType type) {
  CdrWriter out(dialect.order);
  out.raw(octets_of("GIOP")).octet(1).octet(dialect.minor).octet(static_cast<unsigned>(dialect.order)).octet(type);
  out.ulong(0);
  return out;
}

Octets end_message(const CdrWriter& out) {
  Octets octets = out.octets();
  set_message_size(octets, static_cast<std::uint32_t>(octets.size() - HEADER_SIZE));
  return octets;
}

void write_service_contexts(CdrWriter& out, const RequestSpec& spec) {
  out.ulong(spec.service_contexts.size());
  for (const auto& [id, data] : spec.service_contexts) out.ulong(id).sequence(data);
}

void write_target(CdrWriter& out, const RequestSpec& spec) {
  // The addresses lead nowhere: only the key counts.
  const Octets profile = iiop_profile(spec.dialect, "locator.invalid", 1, spec.key);
  out.ushort(static_cast<unsigned>(spec.address));
  switch (spec.address) {
    case Address::KEY:
      out.sequence(spec.key);
      break;
    case Address::PROFILE:
      out.ulong(TAG_INTERNET_IOP).sequence(profile);
      break;
    case Address::REFERENCE:
      // The selected profile is the second.
      out.ulong(1).text("IDL:SystemTest/Probe:1.0").ulong(2);
      out.ulong(TAG_MULTIPLE_COMPONENTS).sequence(CdrWriter(spec.dialect.order).octet(0).ulong(0).octets());
      out.ulong(TAG_INTERNET_IOP).sequence(profile);
      break;
  }
}

}  // namespace

std::string name_of(const Dialect& dialect) {
  return "GIOP 1." + std::to_string(dialect.minor) +
         (dialect.order == ByteOrder::LITTLE ? " little-endian" : " big-endian");
}

Octets iiop_profile(const Dialect& dialect, const std::string& host, unsigned port, const Octets& key) {
  CdrWriter out(dialect.order);
  out.octet(static_cast<unsigned>(dialect.order)).octet(1).octet(dialect.minor).text(host).ushort(port).sequence(key);
  if (dialect.minor > 0) out.ulong(0);
  return out.octets();
}

Octets request(const RequestSpec& spec) {
  CdrWriter out = begin_message(spec.dialect, REQUEST);
  if (spec.dialect.minor == 2) {
    out.ulong(spec.id).octet(spec.response_expected ? 3 : 0).raw({0, 0, 0});
    write_target(out, spec);
    out.text(spec.operation);
    write_service_contexts(out, spec);
    if (!spec.body.empty()) out.align(8);
  } else {
    write_service_contexts(out, spec);
    out.ulong(spec.id).octet(spec.response_expected ? 1 : 0);
    if (spec.dialect.minor == 1) out.raw({0, 0, 0});
    out.sequence(spec.key).text(spec.operation).ulong(0);
  }
  return end_message(out.raw(spec.body));
}

Octets locate_request(const RequestSpec& spec) {
  CdrWriter out = begin_message(spec.dialect, LOCATE_REQUEST);
  out.ulong(spec.id);
  if (spec.dialect.minor == 2) {
    write_target(out, spec);
  } else {
    out.sequence(spec.key);
  }
  return end_message(out);
}

Octets cancel_request(const Dialect& dialect, std::uint32_t id) {
  return end_message(begin_message(dialect, CANCEL_REQUEST).ulong(id));
}

Octets message(const Dialect& dialect, MessageType type, const Octets& body) {
  return end_message(begin_message(dialect, type).raw(body));
}

void set_message_size(Octets& message, std::uint32_t size) {
  const auto order = static_cast<ByteOrder>(message[6] & 1);
  const Octets number = CdrWriter(order).ulong(size).octets();
  std::copy(number.begin(), number.end(), message.begin() + 8);
}

std::vector<Octets> fragmented(const Octets& whole, std::uint32_t id, std::size_t first_size, std::size_t piece_size) {
  const Dialect dialect{whole[5], static_cast<ByteOrder>(whole[6] & 1)};
  std::vector<Octets> pieces;
  std::size_t position = HEADER_SIZE;
  while (position < whole.size()) {
    const std::size_t size = std::min(pieces.empty() ? first_size : piece_size, whole.size() - position);
    const auto begin = whole.begin() + static_cast<std::ptrdiff_t>(position);
    const Octets part(begin, begin + static_cast<std::ptrdiff_t>(size));
    CdrWriter out = begin_message(dialect, pieces.empty() ? static_cast<MessageType>(whole[7]) : FRAGMENT);
    if (!pieces.empty() && dialect.minor == 2) out.ulong(id);
    pieces.push_back(end_message(out.raw(part)));
    position += size;
    if (position < whole.size()) pieces.back()[6] |= MORE_FRAGMENTS;
  }
  return pieces;
}

}  // namespace support
