#include "platform/orb/iiop_profile.h"

#include "platform/orb/cdr_reader.h"
#include "platform/orb/cdr_writer.h"

namespace QZ_IOR {

namespace {

constexpr std::size_t LENGTH_SIZE = 4;

std::size_t aligned(std::size_t position) {
  return (position + 3) & ~std::size_t{3};
}

}  // namespace

IIOPProfile::IIOPProfile(Octets body) {
  auto reader = QZ_CORBA::CdrReader::encapsulation(body);
  m_little_endian = reader.little_endian();
  m_major = reader.read_octet();
  m_minor = reader.read_octet();
  if (m_major != 1) throw QZ_CORBA::CdrError("an IIOP profile's major version is not 1");
  m_host = reader.read_string();
  m_port = reader.read_ushort();
  reader.align(LENGTH_SIZE);
  m_head = body.first(reader.position());
  m_object_key = reader.read_octet_seq();
  // A body may end with its key, although from IIOP 1.1 on an empty list of components should follow.
  if (m_minor == 0 || reader.remaining() == 0) return;

  reader.align(LENGTH_SIZE);
  m_tail = reader.rest();
  for (std::uint32_t count = reader.read_ulong(); count > 0; --count) {
    const std::uint32_t tag = reader.read_ulong();
    m_components.push_back({tag, reader.read_octet_seq()});
  }
}

std::size_t IIOPProfile::body_size(Octets head, std::size_t key_size, Octets tail) {
  const std::size_t size = head.size() + LENGTH_SIZE + key_size;
  return tail.empty() ? size : aligned(size) + tail.size();
}

// The tail begins at a multiple of 4 and holds nothing that is aligned to more, so it can be moved as it is.
void IIOPProfile::append_body(std::vector<unsigned char>& out, bool little_endian, Octets head, Octets key_prefix,
                              Octets key_rest, Octets tail) {
  QZ_CORBA::CdrWriter writer(out, little_endian);
  writer.write_octets(head);
  writer.write_ulong(static_cast<std::uint32_t>(key_prefix.size() + key_rest.size()));
  writer.write_octets(key_prefix);
  writer.write_octets(key_rest);
  if (tail.empty()) return;
  writer.align(LENGTH_SIZE);
  writer.write_octets(tail);
}

std::vector<unsigned char> IIOPProfile::with_object_key(Octets key) const {
  std::vector<unsigned char> result;
  result.reserve(body_size(m_head, key.size(), m_tail));
  append_body(result, m_little_endian, m_head, key, {}, m_tail);
  return result;
}

}  // namespace QZ_IOR
