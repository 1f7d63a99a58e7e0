#include <gtest/gtest.h>

#include "tests/support/corba_side.h"

int main(int argc, char** argv) {
  ::testing::InitGoogleTest(&argc, argv);
  const int result = RUN_ALL_TESTS();
  support::end_corba_orb();
  return result;
}
