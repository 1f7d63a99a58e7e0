#pragma once

#include <bit>
#include <concepts>
#include <cstdint>
#include <cstring>

namespace QZ_Giop {

inline std::uint16_t swapped(std::uint16_t value) {
  return __builtin_bswap16(value);
}
inline std::uint32_t swapped(std::uint32_t value) {
  return __builtin_bswap32(value);
}

// The number, as it stands in octets of that byte order; the same function makes either of the other.
template <std::unsigned_integral Unsigned>
Unsigned in_byte_order(Unsigned value, bool little_endian) {
  return little_endian == (std::endian::native == std::endian::little) ? value : swapped(value);
}

template <std::unsigned_integral Unsigned>
Unsigned number_at(const unsigned char* octets, bool little_endian) {
  Unsigned value;
  std::memcpy(&value, octets, sizeof value);
  return in_byte_order(value, little_endian);
}

}  // namespace QZ_Giop
