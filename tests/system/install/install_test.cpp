// What cmake --install gives a user.
#include <sys/stat.h>

#include <filesystem>

#include "tests/system/install/installation.h"

namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

TEST_F(InstallTest, ProgramsRunFromWhereTheyAreInstalled) {
  for (const char* program : {"poaloc", "poalocd"}) {
    EXPECT_EQ(run({m_dir.file(std::string("bin/") + program), "--version"}), 0) << m_output;
    EXPECT_THAT(m_output, StartsWith(std::string(program) + " "));
  }
}

TEST_F(InstallTest, ShellsAndManFindWhatBelongsToPoaloc) {
  EXPECT_THAT(text("share/bash-completion/completions/poaloc"), HasSubstr("\ncomplete -F _poaloc poaloc\n"));
  EXPECT_THAT(text("share/zsh/site-functions/_poaloc"), StartsWith("#compdef poaloc\n"));
  EXPECT_THAT(text("share/man/man1/poaloc.1"), StartsWith(".TH POALOC 1 "));
  ASSERT_EQ(run({m_dir.file("bin/poaloc"), "man"}), 0);
  EXPECT_EQ(m_output, text("share/man/man1/poaloc.1"));
}

TEST_F(InstallTest, IdlAndUnitFileAreThere) {
  for (const char* idl : {"poa_imr_admin", "poa_locator_admin", "poa_persistent_server", "qz_imr_admin",
                          "qz_locator_admin", "qz_location_common"})
    EXPECT_FALSE(text(std::string("share/idl/poalocator/") + idl + ".idl").empty()) << idl;
  EXPECT_THAT(text("lib/systemd/system/poalocd.service"), HasSubstr("ExecStart="));
}

}  // namespace
