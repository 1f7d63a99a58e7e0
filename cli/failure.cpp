#include "cli/failure.h"

#include <cstring>

#include "cli/text.h"

namespace poaloc {

void fail_file(const std::string& file, const std::string& what, int error) {
  throw Failure(FAILED, "File \"" + printable(file) + "\" cannot be " + what + ", " + std::strerror(error) +
                            ": name another one.");
}

}  // namespace poaloc
