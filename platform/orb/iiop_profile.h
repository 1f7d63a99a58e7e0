// The body of a TAG_INTERNET_IOP profile (CORBA 3.3 part 2, 7.7.2) taken apart. No ORB is needed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace QZ_IOR {

inline constexpr std::uint32_t TAG_INTERNET_IOP = 0;
inline constexpr std::uint32_t TAG_MULTIPLE_COMPONENTS = 1;
inline constexpr std::uint32_t TAG_CODE_SETS = 1;
inline constexpr std::uint32_t TAG_ALTERNATE_IIOP_ADDRESS = 3;

// A view: the body must outlive it. Immutable; safe from any thread.
class IIOPProfile {
 public:
  using Octets = std::span<const unsigned char>;

  struct Component {
    std::uint32_t tag;
    Octets data;
  };

  // body begins with the octet of the byte order. QZ_CORBA::CdrError when it is no IIOP 1.x profile.
  explicit IIOPProfile(Octets body);

  bool little_endian() const { return m_little_endian; }
  std::uint8_t major() const { return m_major; }
  std::uint8_t minor() const { return m_minor; }
  std::string_view host() const { return m_host; }
  std::uint16_t port() const { return m_port; }
  Octets object_key() const { return m_object_key; }
  // Empty for IIOP 1.0.
  const std::vector<Component>& components() const { return m_components; }

  // The body without its object key: what stands before the key's length, and what follows the key and the padding
  // after it. Both are independent of the key.
  Octets head() const { return m_head; }
  Octets tail() const { return m_tail; }

  // How many octets append_body writes.
  static std::size_t body_size(Octets head, std::size_t key_size, Octets tail);
  // The body put together again with the key that consists of key_prefix and key_rest.
  static void append_body(std::vector<unsigned char>& out, bool little_endian, Octets head, Octets key_prefix,
                          Octets key_rest, Octets tail);
  // The same profile with another key.
  std::vector<unsigned char> with_object_key(Octets key) const;

 private:
  bool m_little_endian;
  std::uint8_t m_major;
  std::uint8_t m_minor;
  std::string_view m_host;
  std::uint16_t m_port;
  Octets m_object_key;
  std::vector<Component> m_components;
  Octets m_head;
  Octets m_tail;
};

}  // namespace QZ_IOR
