#include "tests/support/cdr.h"

#include <stdexcept>

namespace support {

namespace {

std::size_t padding(std::size_t position, std::size_t boundary) {
  return (boundary - position % boundary) % boundary;
}

}  // namespace

Octets operator+(Octets left, const Octets& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

CdrWriter& CdrWriter::octet(unsigned value) {
  m_octets.push_back(static_cast<unsigned char>(value));
  return *this;
}

CdrWriter& CdrWriter::number(std::uint64_t value, std::size_t size) {
  align(size);
  for (std::size_t i = 0; i < size; ++i) {
    const std::size_t place = m_order == ByteOrder::LITTLE ? i : size - 1 - i;
    m_octets.push_back(static_cast<unsigned char>(value >> (8 * place)));
  }
  return *this;
}

CdrWriter& CdrWriter::text(const std::string& value) {
  return ulong(value.size() + 1).raw(octets_of(value)).octet(0);
}

CdrWriter& CdrWriter::sequence(const Octets& value) {
  return ulong(value.size()).raw(value);
}

CdrWriter& CdrWriter::raw(const Octets& value) {
  m_octets.insert(m_octets.end(), value.begin(), value.end());
  return *this;
}

CdrWriter& CdrWriter::align(std::size_t boundary) {
  m_octets.resize(m_octets.size() + padding(m_octets.size(), boundary));
  return *this;
}

unsigned CdrReader::octet() {
  return static_cast<unsigned>(number(1));
}

std::uint64_t CdrReader::number(std::size_t size) {
  align(size);
  if (m_position + size > m_octets.size()) throw std::runtime_error("the octets end within a number");
  std::uint64_t value = 0;
  for (std::size_t i = 0; i < size; ++i) {
    const std::size_t place = m_order == ByteOrder::LITTLE ? i : size - 1 - i;
    value |= static_cast<std::uint64_t>(m_octets[m_position + i]) << (8 * place);
  }
  m_position += size;
  return value;
}

Octets CdrReader::sequence() {
  const std::size_t size = ulong();
  if (size > m_octets.size() - m_position) throw std::runtime_error("the octets end within a sequence");
  const auto begin = m_octets.begin() + static_cast<std::ptrdiff_t>(m_position);
  m_position += size;
  return {begin, begin + static_cast<std::ptrdiff_t>(size)};
}

std::string CdrReader::text() {
  const Octets octets = sequence();
  if (octets.empty() || octets.back() != 0) throw std::runtime_error("a string does not end with NUL");
  return {octets.begin(), octets.end() - 1};
}

void CdrReader::align(std::size_t boundary) {
  m_position += padding(m_position, boundary);
}

Octets CdrReader::rest() const {
  if (m_position >= m_octets.size()) return {};
  return {m_octets.begin() + static_cast<std::ptrdiff_t>(m_position), m_octets.end()};
}

}  // namespace support
