// What fuzz targets say when an invariant does not hold.
#pragma once

#include <cstdio>
#include <cstdlib>

// Ends the program, as a crash does: the input at hand is a finding.
#define FUZZ_CHECK(condition)                                                                          \
  do {                                                                                                 \
    if (!(condition)) {                                                                                \
      std::fprintf(stderr, "%s:%d: does not hold: %s\n", __FILE__, __LINE__, #condition); /* NOLINT */ \
      std::abort();                                                                                    \
    }                                                                                                  \
  } while (false)
