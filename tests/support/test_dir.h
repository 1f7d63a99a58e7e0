// A directory of its own for one test: removed when the test passed, kept with its path printed when it failed.
#pragma once

#include <string>

namespace support {

class TestDir {
 public:
  TestDir();
  ~TestDir();
  TestDir(const TestDir&) = delete;
  TestDir& operator=(const TestDir&) = delete;

  const std::string& path() const { return m_path; }
  std::string file(const std::string& name) const { return m_path + "/" + name; }

 private:
  std::string m_path;
};

}  // namespace support
