#include "platform/base/qz_hash_map.h"

#include <array>

std::size_t QZ_hash_table_size(std::size_t requested) {
  static constexpr std::array<std::size_t, 27> PRIMES{
      11,      23,      47,       97,       197,      397,       797,       1597,      3203,
      6421,    12853,   25717,    51437,    102877,   205759,    411527,    823117,    1646237,
      3292489, 6584983, 13169977, 26339969, 52679969, 105359939, 210719881, 421439783, 842879579};
  const auto at = std::upper_bound(PRIMES.begin(), PRIMES.end(), requested);
  return at == PRIMES.end() ? 0 : *at;
}
