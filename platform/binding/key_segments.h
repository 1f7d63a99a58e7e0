// Object keys as runs of segments: each a 4-octet big-endian length and its octets.
#pragma once

#include <cstddef>
#include <optional>
#include <span>

namespace QZ_Binding {

struct KeySegment {
  std::size_t offset;  // of its octets, behind the length
  std::size_t length;

  std::size_t end() const { return offset + length; }
};

// The segment whose frame begins at position; none when the key ends before it does.
inline std::optional<KeySegment> key_segment_at(std::span<const unsigned char> key, std::size_t position) {
  constexpr std::size_t FRAME = 4;
  if (position > key.size() || key.size() - position < FRAME) return std::nullopt;
  const auto frame = key.subspan(position, FRAME);
  const std::size_t length =
      std::size_t{frame[0]} << 24 | std::size_t{frame[1]} << 16 | std::size_t{frame[2]} << 8 | std::size_t{frame[3]};
  if (key.size() - position - FRAME < length) return std::nullopt;
  return KeySegment{position + FRAME, length};
}

}  // namespace QZ_Binding
