#include "bench/load/request_set.h"

#include <algorithm>

namespace bench {

namespace {

constexpr std::size_t HEADER_SIZE = 12;
constexpr unsigned char REQUEST = 0;
constexpr unsigned char LOCATE_REQUEST = 3;

void put_ulong(unsigned char* place, std::size_t value) {
  for (int i = 0; i < 4; ++i) place[i] = static_cast<unsigned char>(value >> 8 * i);
}

// CDR, aligned from the message's start.
class Writer {
 public:
  void octets(std::span<const unsigned char> value) { m_octets.insert(m_octets.end(), value.begin(), value.end()); }
  void octet(unsigned char value) { m_octets.push_back(value); }
  void ulong(std::size_t value) {
    m_octets.resize((m_octets.size() + 3) / 4 * 4 + 4);
    put_ulong(m_octets.data() + m_octets.size() - 4, value);
  }
  void sequence(std::span<const unsigned char> value) {
    ulong(value.size());
    octets(value);
  }
  void string(const std::string& value) {
    ulong(value.size() + 1);
    octets({reinterpret_cast<const unsigned char*>(value.c_str()), value.size() + 1});
  }
  std::vector<unsigned char>& message() { return m_octets; }

 private:
  std::vector<unsigned char> m_octets;
};

}  // namespace

std::size_t RequestSet::id_position() const {
  // An empty list of service contexts comes first in an old Request.
  return m_form.minor < 2 && !m_form.locate ? HEADER_SIZE + 4 : HEADER_SIZE;
}

void RequestSet::add(std::span<const unsigned char> key) {
  constexpr unsigned char RESPONSE_EXPECTED[] = {3, 0, 0, 0};  // and three reserved octets
  constexpr unsigned char OLD_RESPONSE_EXPECTED[] = {1, 0, 0, 0};
  const auto minor = static_cast<unsigned char>(m_form.minor);
  const unsigned char header[] = {'G', 'I', 'O', 'P', 1, minor, 1, m_form.locate ? LOCATE_REQUEST : REQUEST};

  Writer writer;
  writer.octets(header);
  writer.ulong(0);
  if (m_form.locate) {
    writer.ulong(0);
    if (minor >= 2) writer.ulong(0);  // what follows is the key
    writer.sequence(key);
  } else if (minor >= 2) {
    writer.ulong(0);
    writer.octets(RESPONSE_EXPECTED);
    writer.ulong(0);
    writer.sequence(key);
    writer.string(m_form.operation);
    writer.ulong(0);
  } else {
    writer.ulong(0);
    writer.ulong(0);
    writer.octets(std::span(OLD_RESPONSE_EXPECTED).first(minor == 0 ? 1 : 4));
    writer.sequence(key);
    writer.string(m_form.operation);
    writer.ulong(0);
  }
  std::vector<unsigned char>& message = writer.message();
  put_ulong(message.data() + 8, message.size() - HEADER_SIZE);

  m_starts.push_back(m_octets.size());
  m_octets.insert(m_octets.end(), message.begin(), message.end());
}

void RequestSet::append(std::vector<unsigned char>& out, std::size_t n, std::uint32_t request_id) const {
  const auto begin = m_octets.begin() + static_cast<std::ptrdiff_t>(m_starts[n]);
  const auto end =
      n + 1 < m_starts.size() ? m_octets.begin() + static_cast<std::ptrdiff_t>(m_starts[n + 1]) : m_octets.end();
  const std::size_t start = out.size();
  out.insert(out.end(), begin, end);
  put_ulong(out.data() + start + id_position(), request_id);
}

}  // namespace bench
