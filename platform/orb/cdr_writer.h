// Appends CDR (CORBA 3.3 part 2, 9.3) to octets that somebody else owns. Alignment counts from the length that they
// have when the writer is made. Not for several threads at once.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace QZ_CORBA {

class CdrWriter {
 public:
  CdrWriter(std::vector<unsigned char>& out, bool little_endian)
      : m_out(out), m_start(out.size()), m_little_endian(little_endian) {}

  // From where the writer began.
  std::size_t position() const { return m_out.size() - m_start; }

  void align(std::size_t alignment) {
    const std::size_t excess = position() % alignment;
    if (excess != 0) m_out.resize(m_out.size() + alignment - excess);
  }
  void write_octet(std::uint8_t value) { m_out.push_back(value); }
  void write_ushort(std::uint16_t value) { write(value); }
  void write_ulong(std::uint32_t value) { write(value); }
  // The octets as they are.
  void write_octets(std::span<const unsigned char> octets) { m_out.insert(m_out.end(), octets.begin(), octets.end()); }
  void write_octet_seq(std::span<const unsigned char> octets) {
    write_ulong(static_cast<std::uint32_t>(octets.size()));
    write_octets(octets);
  }
  void write_string(std::string_view text) {
    write_ulong(static_cast<std::uint32_t>(text.size() + 1));
    m_out.insert(m_out.end(), text.begin(), text.end());
    m_out.push_back(0);
  }

 private:
  template <class Unsigned>
  void write(Unsigned value) {
    align(sizeof value);
    std::array<unsigned char, sizeof(Unsigned)> octets;
    for (std::size_t i = 0; i < octets.size(); ++i) octets[i] = static_cast<unsigned char>(value >> 8 * i);
    if (!m_little_endian) std::reverse(octets.begin(), octets.end());
    m_out.insert(m_out.end(), octets.begin(), octets.end());
  }

  std::vector<unsigned char>& m_out;
  std::size_t m_start;
  bool m_little_endian;
};

}  // namespace QZ_CORBA
