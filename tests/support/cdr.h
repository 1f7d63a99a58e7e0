// CDR octets built and read by hand, so that a test shares no code with what it tests.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace support {

using Octets = std::vector<unsigned char>;
enum class ByteOrder : unsigned char { BIG = 0, LITTLE = 1 };

inline Octets octets_of(const std::string& text) {
  return {text.begin(), text.end()};
}
inline std::string text_of(const Octets& octets) {
  return {octets.begin(), octets.end()};
}
Octets operator+(Octets left, const Octets& right);

// Alignment counts from the first octet written.
class CdrWriter {
 public:
  explicit CdrWriter(ByteOrder order) : m_order(order) {}

  CdrWriter& octet(unsigned value);
  CdrWriter& ushort(unsigned value) { return number(value, 2); }
  CdrWriter& ulong(std::uint64_t value) { return number(value, 4); }
  CdrWriter& ulonglong(std::uint64_t value) { return number(value, 8); }
  // Length, octets, NUL.
  CdrWriter& text(const std::string& value);
  // Length, octets.
  CdrWriter& sequence(const Octets& value);
  CdrWriter& raw(const Octets& value);
  CdrWriter& align(std::size_t boundary);

  ByteOrder order() const { return m_order; }
  const Octets& octets() const { return m_octets; }

 private:
  CdrWriter& number(std::uint64_t value, std::size_t size);

  ByteOrder m_order;
  Octets m_octets;
};

// Raises std::runtime_error when the octets end too early. Alignment counts from the first octet.
class CdrReader {
 public:
  CdrReader(const Octets& octets, ByteOrder order, std::size_t position = 0)
      : m_octets(octets), m_order(order), m_position(position) {}

  unsigned octet();
  unsigned ushort() { return static_cast<unsigned>(number(2)); }
  std::uint32_t ulong() { return static_cast<std::uint32_t>(number(4)); }
  std::uint64_t ulonglong() { return number(8); }
  std::string text();
  Octets sequence();
  void align(std::size_t boundary);
  bool at_end() const { return m_position == m_octets.size(); }
  Octets rest() const;

 private:
  std::uint64_t number(std::size_t size);

  const Octets& m_octets;
  ByteOrder m_order;
  std::size_t m_position;
};

}  // namespace support
