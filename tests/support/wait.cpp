#include "tests/support/wait.h"

#include <algorithm>
#include <cstdlib>

namespace support {

double time_factor() {
  const char* text = std::getenv("POALOCATOR_TEST_TIME_FACTOR");
  return text == nullptr ? 1.0 : std::max(1.0, std::atof(text));
}

}  // namespace support
