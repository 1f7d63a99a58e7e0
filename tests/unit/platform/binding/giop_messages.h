// GIOP messages as clients send them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/orb/cdr_writer.h"

namespace test {

using Octets = std::vector<unsigned char>;

enum class Target { KEY, PROFILE, REFERENCE };

struct Request {
  std::uint8_t minor = 2;
  bool little_endian = true;
  bool locate = false;
  bool response = true;
  std::uint32_t id = 7;
  Target target = Target::KEY;  // GIOP 1.2
  std::string key = "key";
  std::string operation = "ping";
  std::size_t contexts = 0;  // service contexts, of 5 octets each
  std::size_t body = 0;      // octets behind the header
};

inline Octets octets(const std::string& text) {
  return {text.begin(), text.end()};
}

inline Octets message(std::uint8_t minor, bool little_endian, std::uint8_t type, const Octets& body,
                      bool more = false) {
  Octets out = {'G', 'I', 'O', 'P', 1, minor, static_cast<unsigned char>(little_endian | (more ? 2 : 0)), type};
  QZ_CORBA::CdrWriter writer(out, little_endian);
  writer.write_ulong(static_cast<std::uint32_t>(body.size()));
  out.insert(out.end(), body.begin(), body.end());
  return out;
}

inline Octets iiop_profile_body(const std::string& key, bool little_endian) {
  Octets out;
  QZ_CORBA::CdrWriter writer(out, little_endian);
  writer.write_octet(little_endian);
  writer.write_octet(1);
  writer.write_octet(2);
  writer.write_string("locator.example");
  writer.write_ushort(2809);
  writer.write_octet_seq(octets(key));
  writer.write_ulong(0);
  return out;
}

inline void write_target(QZ_CORBA::CdrWriter& writer, const Request& r) {
  writer.write_ushort(static_cast<std::uint16_t>(r.target));
  switch (r.target) {
    case Target::KEY:
      writer.write_octet_seq(octets(r.key));
      break;
    case Target::PROFILE:
      writer.write_ulong(0);
      writer.write_octet_seq(iiop_profile_body(r.key, !r.little_endian));
      break;
    case Target::REFERENCE:
      writer.write_ulong(1);  // the second profile is the one
      writer.write_string("IDL:Test:1.0");
      writer.write_ulong(3);
      writer.write_ulong(1);
      writer.write_octet_seq(octets("other"));
      writer.write_ulong(0);
      writer.write_octet_seq(iiop_profile_body(r.key, r.little_endian));
      writer.write_ulong(0);
      writer.write_octet_seq(iiop_profile_body("wrong", r.little_endian));
      break;
  }
}

inline void write_contexts(QZ_CORBA::CdrWriter& writer, const Request& r) {
  writer.write_ulong(static_cast<std::uint32_t>(r.contexts));
  for (std::size_t i = 0; i < r.contexts; ++i) {
    writer.write_ulong(1000);
    writer.write_octet_seq(octets("abcde"));
  }
}

// What follows the twelve octets.
inline Octets request_body(const Request& r) {
  Octets out;
  QZ_CORBA::CdrWriter writer(out, r.little_endian);
  if (r.locate) {
    writer.write_ulong(r.id);
    if (r.minor < 2) {
      writer.write_octet_seq(octets(r.key));
    } else {
      write_target(writer, r);
    }
  } else if (r.minor < 2) {
    write_contexts(writer, r);
    writer.write_ulong(r.id);
    writer.write_octet(r.response);
    if (r.minor == 1) writer.write_octets(Octets{0, 0, 0});
    writer.write_octet_seq(octets(r.key));
    writer.write_string(r.operation);
    writer.write_octet_seq({});  // principal
  } else {
    writer.write_ulong(r.id);
    writer.write_octet(r.response ? 3 : 0);
    writer.write_octets(Octets{0, 0, 0});
    write_target(writer, r);
    writer.write_string(r.operation);
    write_contexts(writer, r);
  }
  out.resize(out.size() + r.body, 'b');
  return out;
}

inline Octets request(const Request& r) {
  return message(r.minor, r.little_endian, r.locate ? 3 : 0, request_body(r));
}

// The request in fragments: parts[i] are the body's octets in each.
inline Octets fragmented(const Request& r, const std::vector<Octets>& parts) {
  Octets out;
  for (std::size_t i = 0; i < parts.size(); ++i) {
    Octets body;
    if (i > 0 && r.minor == 2) {
      QZ_CORBA::CdrWriter writer(body, r.little_endian);
      writer.write_ulong(r.id);
    }
    body.insert(body.end(), parts[i].begin(), parts[i].end());
    const std::uint8_t type = i > 0 ? 7 : r.locate ? 3 : 0;
    const Octets part = message(r.minor, r.little_endian, type, body, i + 1 < parts.size());
    out.insert(out.end(), part.begin(), part.end());
  }
  return out;
}

inline Octets cancel_request(std::uint32_t id, std::uint8_t minor = 2, bool little_endian = true) {
  Octets body;
  QZ_CORBA::CdrWriter writer(body, little_endian);
  writer.write_ulong(id);
  return message(minor, little_endian, 2, body);
}

inline Octets close_connection(std::uint8_t minor = 2) {
  return message(minor, true, 5, {});
}

inline Octets joined(std::initializer_list<Octets> parts) {
  Octets out;
  for (const Octets& part : parts) out.insert(out.end(), part.begin(), part.end());
  return out;
}

// A key of framed segments, and what follows them.
inline std::string key_of(std::initializer_list<std::string> segments, const std::string& rest = {}) {
  Octets out;
  for (const std::string& segment : segments) {
    for (int shift = 24; shift >= 0; shift -= 8) out.push_back(static_cast<unsigned char>(segment.size() >> shift));
    out.insert(out.end(), segment.begin(), segment.end());
  }
  return std::string(out.begin(), out.end()) + rest;
}

}  // namespace test
