// The fixture of the tests of what is installed: an installation in a folder of its own.
#pragma once

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "tests/support/child_process.h"
#include "tests/support/files.h"
#include "tests/support/test_dir.h"

class InstallTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(run({POALOCATOR_CMAKE, "--install", POALOCATOR_BUILD_DIR, "--prefix", m_dir.path()}), 0) << m_output;
  }

  // The program's exit code; what it has said is in m_output.
  int run(const std::vector<std::string>& argv, std::chrono::seconds limit = std::chrono::seconds(60)) {
    const std::string file = m_dir.file("output" + std::to_string(++m_runs));
    support::ChildProcess::Spec spec;
    spec.argv = argv;
    spec.stdout_path = spec.stderr_path = file;
    support::ChildProcess process(spec);
    const int code = process.wait(limit).value_or(-1);
    m_output = support::read_file(file);
    return code;
  }
  std::string text(const std::string& name) const { return support::read_file(m_dir.file(name)); }

  support::TestDir m_dir;
  std::string m_output;
  int m_runs = 0;
};
