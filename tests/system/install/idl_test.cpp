// The installed IDL is all that a client of the administration needs.
#include <filesystem>

#include "tests/support/fake_server.h"
#include "tests/support/locator.h"
#include "tests/system/install/installation.h"

namespace {

using ::testing::HasSubstr;
using ::testing::Not;

class InstalledIdlTest : public InstallTest {
 protected:
  // Compiles the client with stubs of the installed IDL, and links it with omniORB alone.
  void build_client() {
    const std::string idl = m_dir.file("share/idl/poalocator");
    std::string commands =
        "set -e; cd " + m_dir.path() + "; mkdir client; cd client; cp " POALOCATOR_CLIENT_SOURCE " .\n";
    for (const auto& file : std::filesystem::directory_iterator(idl))
      commands +=
          POALOCATOR_OMNIIDL " -bcxx -I" POALOCATOR_OMNIORB_IDL_DIR " -I" + idl + " " + file.path().string() + "\n";
    commands += "for source in *.cc *.cpp; do " POALOCATOR_CXX
                " -O0 -I. $(pkg-config --cflags omniORB4) -c $source; done\n" POALOCATOR_CXX
                " -o client *.o $(pkg-config --libs omniORB4)\n";
    ASSERT_EQ(run({"/bin/sh", "-c", commands}, std::chrono::minutes(5)), 0) << m_output;
    ASSERT_EQ(run({"/usr/bin/ldd", m_dir.file("client/client")}), 0) << m_output;
    EXPECT_THAT(m_output, HasSubstr("libomniORB4"));
    EXPECT_THAT(m_output, Not(HasSubstr("poalocator")));
  }

  support::Locator m_locator{m_dir};
};

TEST_F(InstalledIdlTest, ServesAClientThatAdministersAll) {
  ASSERT_NO_FATAL_FAILURE(build_client());
  m_locator.start();
  support::FakeServer server(m_locator, "server");
  server.add("Bank");
  server.add("Bank/Accounts");
  const std::string url = "corbaloc::" + m_locator.address();
  ASSERT_EQ(run({m_dir.file("client/client"), url}), 0) << m_output;
  EXPECT_EQ(m_output,
            "tree\n"
            "  / orb= persistent=0 dynamic=1\n"
            "  /Bank/ orb=server persistent=1 dynamic=1\n"
            "  /Bank/Accounts/ orb=server persistent=1 dynamic=1\n"
            "taken name: POAAlreadyRegistered\n"
            "empty name: BAD_PARAM 0x515A0C00\n"
            "namespace of an ORB: BAD_PARAM 0x515A0C04\n"
            "observer: NO_IMPLEMENT 0x515A0C01\n"
            "no observer: NO_IMPLEMENT 0x515A0C02\n"
            "added and changed\n"
            "  / orb= persistent=0 dynamic=1\n"
            "  /Bank/ orb=server persistent=1 dynamic=1\n"
            "  /Bank/Accounts/ orb=server persistent=1 dynamic=1\n"
            "  /Shop/ orb=teller persistent=1 dynamic=1\n"
            "  /Shop/Cart/ orb=vault persistent=1 dynamic=1\n"
            "taken process: AlreadyExists\n"
            "process without a program: InvalidValue\n"
            "bank runs /bin/false\n"
            "taken ORB: AlreadyExists\n"
            "unknown process: InvalidValue\n"
            "process in use: HasReferences\n"
            "ORB in use: HasReferences\n"
            "ORB with all its POAs: done\n"
            "ORB that is gone: OBJECT_NOT_EXIST 0x00000000\n"
            "process: done\n"
            "process that is gone: OBJECT_NOT_EXIST 0x00000000\n"
            "active: 2\n"
            "  /Bank in server\n"
            "  /Bank/Accounts in server\n"
            "observer of active POAs: NO_IMPLEMENT 0x515A0C03\n"
            "no observer of active POAs: NO_IMPLEMENT 0x515A0C04\n"
            "active ORB that is gone: OBJECT_NOT_EXIST 0x515A0C07\n"
            "active: 0\n"
            "POA below one that is gone: OBJECT_NOT_EXIST 0x515A0C00\n"
            "tree\n"
            "  / orb= persistent=0 dynamic=1\n");
}

}  // namespace
