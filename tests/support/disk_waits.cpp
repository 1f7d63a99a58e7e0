#include "tests/support/disk_waits.h"

#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <utility>

namespace {

std::atomic<unsigned> waits{0};
thread_local bool next_fails = false;

}  // namespace

unsigned disk_waits() {
  return waits;
}

void fail_next_disk_wait() {
  next_fails = true;
}

// Instead of the C library's, for every library of the program.
extern "C" int fdatasync(int file) {
  if (std::exchange(next_fails, false)) {
    errno = EIO;
    return -1;
  }
  ++waits;
  return fsync(file);
}
