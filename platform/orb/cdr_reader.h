// Reads CDR (CORBA 3.3 part 2, 9.3) from octets that somebody else owns and keeps. Every read is checked: CdrError
// when the octets do not hold what is read. Views that are handed out live as long as the octets. No ORB is needed.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <stdexcept>
#include <string_view>

namespace QZ_CORBA {

class CdrError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// A cheap value; one reader is for one thread at a time.
class CdrReader {
 public:
  using Octets = std::span<const unsigned char>;

  // Alignment counts from the first of the octets; reading begins at position.
  CdrReader(Octets octets, bool little_endian, std::size_t position = 0)
      : m_octets(octets), m_position(position), m_little_endian(little_endian) {
    if (position > octets.size()) overrun();
  }

  // An encapsulation: the first octet tells the byte order, and alignment counts from it.
  static CdrReader encapsulation(Octets octets) {
    CdrReader reader(octets, false);
    reader.m_little_endian = reader.read_boolean();
    return reader;
  }

  bool little_endian() const { return m_little_endian; }
  // From the first of the octets.
  std::size_t position() const { return m_position; }
  std::size_t remaining() const { return m_octets.size() - m_position; }
  Octets rest() const { return m_octets.subspan(m_position); }

  void align(std::size_t alignment) {
    const std::size_t excess = m_position % alignment;
    if (excess != 0) skip(alignment - excess);
  }
  void skip(std::size_t count) {
    if (count > remaining()) overrun();
    m_position += count;
  }

  std::uint8_t read_octet() { return read<std::uint8_t>(); }
  bool read_boolean() {
    const std::uint8_t value = read_octet();
    if (value > 1) throw CdrError("a boolean is neither 0 nor 1");
    return value == 1;
  }
  std::uint16_t read_ushort() { return read<std::uint16_t>(); }
  std::uint32_t read_ulong() { return read<std::uint32_t>(); }
  std::uint64_t read_ulonglong() { return read<std::uint64_t>(); }

  // The next count octets as they are.
  Octets read_octets(std::size_t count) {
    const Octets result = rest().first(count <= remaining() ? count : overrun());
    m_position += count;
    return result;
  }
  Octets read_octet_seq() { return read_octets(read_ulong()); }

  // Without the NUL that ends it. A length of 0, which some ORBs send for the empty string, reads as one.
  std::string_view read_string() {
    const Octets octets = read_octet_seq();
    if (octets.empty()) return {};
    const std::string_view text(reinterpret_cast<const char*>(octets.data()), octets.size());
    if (text.find('\0') != text.size() - 1) throw CdrError("a string does not end with its only NUL");
    return text.substr(0, text.size() - 1);
  }

  CdrReader read_encapsulation() { return encapsulation(read_octet_seq()); }

 private:
  template <class Unsigned>
  Unsigned read() {
    align(sizeof(Unsigned));
    Unsigned value;
    std::memcpy(&value, read_octets(sizeof value).data(), sizeof value);
    if (m_little_endian != (std::endian::native == std::endian::little)) value = swapped(value);
    return value;
  }
  static std::uint8_t swapped(std::uint8_t value) { return value; }
  static std::uint16_t swapped(std::uint16_t value) { return __builtin_bswap16(value); }
  static std::uint32_t swapped(std::uint32_t value) { return __builtin_bswap32(value); }
  static std::uint64_t swapped(std::uint64_t value) { return __builtin_bswap64(value); }

  [[noreturn]] static std::size_t overrun() { throw CdrError("the octets end too early"); }

  Octets m_octets;
  std::size_t m_position;
  bool m_little_endian;
};

}  // namespace QZ_CORBA
