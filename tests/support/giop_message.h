// GIOP messages as octets, built by hand.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "tests/support/cdr.h"

namespace support {

enum MessageType : unsigned char {
  REQUEST = 0,
  REPLY = 1,
  CANCEL_REQUEST = 2,
  LOCATE_REQUEST = 3,
  LOCATE_REPLY = 4,
  CLOSE_CONNECTION = 5,
  MESSAGE_ERROR = 6,
  FRAGMENT = 7
};

// How a GIOP 1.2 request names its target. Before 1.2 there is only the key.
enum class Address : unsigned { KEY = 0, PROFILE = 1, REFERENCE = 2 };

// GIOP 1.minor in one byte order.
struct Dialect {
  unsigned minor = 2;
  ByteOrder order = ByteOrder::BIG;
};
std::string name_of(const Dialect& dialect);

constexpr std::size_t HEADER_SIZE = 12;

struct RequestSpec {
  Dialect dialect;
  std::uint32_t id = 1;
  Octets key;
  Address address = Address::KEY;
  std::string operation = "whoami";
  bool response_expected = true;
  std::vector<std::pair<std::uint32_t, Octets>> service_contexts;
  // Its alignment must already suit the place where a body begins.
  Octets body;
};

Octets request(const RequestSpec& spec);
// Uses dialect, id, key and address.
Octets locate_request(const RequestSpec& spec);
Octets cancel_request(const Dialect& dialect, std::uint32_t id);
// Any message: the twelve octets of the header, then body as it is.
Octets message(const Dialect& dialect, MessageType type, const Octets& body);
// Writes another message size into the header.
void set_message_size(Octets& message, std::uint32_t size);

// The message in pieces: a first one of first_size octets of body and fragments of piece_size each. Sizes must be
// multiples of 8 in GIOP 1.2; in it each fragment repeats id.
std::vector<Octets> fragmented(const Octets& whole, std::uint32_t id, std::size_t first_size, std::size_t piece_size);

// An IIOP profile's octets, an encapsulation.
Octets iiop_profile(const Dialect& dialect, const std::string& host, unsigned port, const Octets& key);

}  // namespace support
