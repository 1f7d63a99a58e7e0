#include "daemon/open_files.h"

#include <sys/resource.h>

#include <algorithm>
#include <optional>

namespace poalocd {

namespace {

// For store, servers and the ORB's connections; where there are few files, a quarter of them.
constexpr rlim_t OWN_FILES = 1000;
constexpr rlim_t OWN_SHARE = 4;

std::optional<rlimit> limit_before;

}  // namespace

std::size_t allow_connections(std::size_t wanted) {
  rlimit files{};
  if (getrlimit(RLIMIT_NOFILE, &files) != 0) return wanted;
  const rlim_t needed = wanted + OWN_FILES;
  if (files.rlim_cur < needed) {
    const rlimit before = files;
    files.rlim_cur = std::min(needed, files.rlim_max);
    if (setrlimit(RLIMIT_NOFILE, &files) != 0) {
      files = before;
    } else if (!limit_before) {
      limit_before = before;
    }
  }
  return std::min<rlim_t>(wanted, files.rlim_cur - std::min(OWN_FILES, files.rlim_cur / OWN_SHARE));
}

const rlimit* files_limit_of_servers() {
  return limit_before ? &*limit_before : nullptr;
}

}  // namespace poalocd
