// Hash and equality of octet sequences, for hash tables.
#pragma once

#include <cstddef>
#include <cstring>
#include <functional>
#include <string_view>

// Well mixed in all bits; the same for the same octets within one process.
inline std::size_t QZ_hash_octets(const unsigned char* octets, std::size_t length) {
  return std::hash<std::string_view>()({reinterpret_cast<const char*>(octets), length});
}

template <class OctetSeq>
struct QZ_Cxx_OctetSeqHash {
  std::size_t operator()(const OctetSeq& octets) const { return QZ_hash_octets(octets.get_buffer(), octets.length()); }
};

// Same length and same octets.
template <class OctetSeq>
struct QZ_Cxx_OctetSeqEqual {
  bool operator()(const OctetSeq& a, const OctetSeq& b) const {
    return a.length() == b.length() &&
           (a.length() == 0 || std::memcmp(a.get_buffer(), b.get_buffer(), a.length()) == 0);
  }
};
