#include "tests/support/test_dir.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <iostream>
#include <stdexcept>

namespace support {

TestDir::TestDir() : m_path(::testing::TempDir() + "poaloc.XXXXXX") {
  if (mkdtemp(m_path.data()) == nullptr) throw std::runtime_error("cannot make a directory like " + m_path);
}

TestDir::~TestDir() {
  if (::testing::Test::HasFailure()) {
    std::cout << "The files of this test are kept in " << m_path << std::endl;
    return;
  }
  std::error_code ignored;
  std::filesystem::remove_all(m_path, ignored);
}

}  // namespace support
