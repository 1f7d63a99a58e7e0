#include "tests/support/disk_waits.h"

#include <unistd.h>

#include <atomic>

namespace {

std::atomic<unsigned> waits{0};

}  // namespace

unsigned disk_waits() {
  return waits;
}

// Instead of the C library's, for every library of the program.
extern "C" int fdatasync(int file) {
  ++waits;
  return fsync(file);
}
