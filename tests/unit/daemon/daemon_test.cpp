// The whole daemon in this process, up to its exit code.
#include "daemon/daemon.h"

#include <gmock/gmock.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <functional>
#include <qz_locator_admin.hh>
#include <thread>

#include "daemon/command_line.h"
#include "daemon/unique_fd.h"
#include "tests/support/files.h"
#include "tests/unit/daemon/host_fixture.h"

namespace {

using namespace poalocd;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

class DaemonTest : public HostFixture {
 protected:
  DaemonTest() {
    m_config.set("front_door", "listen", "[\"127.0.0.1:0\"]");
    m_config.set("plugins", "libraries", "[\"libtest_plugin_good.so\"]");
    setenv("TEST_PLUGIN_CALLS_FILE", m_dir.file("calls").c_str(), 1);
    unsetenv("TEST_PLUGIN_FAILS");
  }

  // Runs the daemon; once it is ready calls when_ready and asks it to stop.
  int run(const std::function<void()>& when_ready = [] {}) {
    const RefCountHandle<ConfigurationImpl> configuration(ConfigurationImpl::parse(m_config.text(), "test"));
    SignalWatch signals;
    std::atomic<bool> ended{false};
    std::thread supervisor([&] {
      const bool ready = support::wait_until([&] { return ended || !events(DAEMON_READY_EVENT).empty(); });
      if (ended) return;
      if (ready) when_ready();
      kill(getpid(), SIGTERM);
    });
    testing::internal::CaptureStderr();
    const int exit_code = run_daemon(configuration, signals);
    m_said = testing::internal::GetCapturedStderr();
    ended = true;
    supervisor.join();
    return exit_code;
  }

  std::string calls() const { return support::read_file(m_dir.file("calls")); }

  std::string m_said;  // on standard error
};

TEST_F(DaemonTest, DrivesItsPluginsFromStartToEnd) {
  m_config.set_domain("d");
  std::string calls_when_ready;
  EXPECT_EQ(run([&] { calls_when_ready = calls(); }), EXIT_STOPPED);
  EXPECT_EQ(calls_when_ready, "initialize d;validate;");
  EXPECT_EQ(calls(), "initialize d;validate;cleanup;");
  EXPECT_THAT(m_said, IsEmpty());
  EXPECT_THAT(events(DAEMON_STOPPING_EVENT), SizeIs(1));
  EXPECT_THAT(events(DAEMON_STOPPED_EVENT), SizeIs(1));
}

TEST_F(DaemonTest, ReopensItsLogOnHangup) {
  EXPECT_EQ(run([&] {
              rename(m_dir.file("events.jsonl").c_str(), m_dir.file("old.jsonl").c_str());
              kill(getpid(), SIGHUP);
              support::wait_until([&] { return support::file_exists(m_dir.file("events.jsonl")); });
            }),
            EXIT_STOPPED);
  EXPECT_THAT(support::read_file(m_dir.file("old.jsonl")), HasSubstr("poalocd is ready"));
  EXPECT_THAT(events(LOGS_REOPENED_EVENT), SizeIs(1));
  EXPECT_THAT(events(DAEMON_STOPPED_EVENT), SizeIs(1));
}

TEST_F(DaemonTest, DoesNotStartWithAPluginThatFails) {
  setenv("TEST_PLUGIN_FAILS", "1", 1);
  EXPECT_EQ(run(), EXIT_START_FAILED);
  EXPECT_THAT(m_said, testing::AllOf(HasSubstr("plug-in \"test_good\" could not be started"), HasSubstr("INITIALIZE"),
                                     HasSubstr("0x515A0C00")));
  EXPECT_EQ(calls(), "initialize poalocator;cleanup;");
  EXPECT_THAT(events(DAEMON_READY_EVENT), IsEmpty());
  EXPECT_THAT(events(DAEMON_START_FAILED_EVENT), SizeIs(1));
}

TEST_F(DaemonTest, DoesNotStartWithoutItsPlugin) {
  m_config.set("plugins", "libraries", "[\"missing.so\"]");
  EXPECT_EQ(run(), EXIT_START_FAILED);
  EXPECT_THAT(m_said, HasSubstr("missing.so cannot be loaded"));
}

// A port that this test holds.
class TakenPort {
 public:
  TakenPort() {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    EXPECT_EQ(bind(m_socket.get(), reinterpret_cast<sockaddr*>(&address), size), 0);
    EXPECT_EQ(listen(m_socket.get(), 1), 0);
    getsockname(m_socket.get(), reinterpret_cast<sockaddr*>(&address), &size);
    m_address = "127.0.0.1:" + std::to_string(ntohs(address.sin_port));
  }
  const std::string& address() const { return m_address; }

 private:
  const UniqueFd m_socket{socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)};
  std::string m_address;
};

TEST_F(DaemonTest, SaysWhatToDoAboutATakenPort) {
  const TakenPort taken;
  m_config.set("front_door", "listen", "[\"" + taken.address() + "\"]");
  EXPECT_EQ(run(), EXIT_START_FAILED);
  EXPECT_THAT(m_said, testing::AllOf(HasSubstr("front_door.listen"), HasSubstr(taken.address()),
                                     HasSubstr("choose another address")));
  m_config.set("front_door", "listen", "[\"127.0.0.1:0\"]");
  m_config.set_text("orb_endpoint", "listen", taken.address());
  EXPECT_EQ(run(), EXIT_START_FAILED);
  EXPECT_THAT(m_said, testing::AllOf(HasSubstr("orb_endpoint.listen"), HasSubstr(taken.address()),
                                     HasSubstr("choose another address")));
}

TEST_F(DaemonTest, SaysWhatToDoAboutAStoreThatCannotBeOpened) {
  m_config.set_text("store", "url", "sqlite://" + m_dir.file("missing/state.db"));
  EXPECT_EQ(run(), EXIT_START_FAILED);
  EXPECT_THAT(m_said, testing::AllOf(HasSubstr("store.url"), HasSubstr(m_dir.file("missing/state.db")),
                                     HasSubstr("make the folder")));
  support::write_file(m_dir.file("text"), std::string(5000, 'x'));
  m_config.set_text("store", "url", "sqlite://" + m_dir.file("text"));
  EXPECT_EQ(run(), EXIT_START_FAILED);
  EXPECT_THAT(m_said, HasSubstr(m_dir.file("text")));
}

TEST_F(DaemonTest, SaysWhatToDoAboutALogThatCannotBeWritten) {
  support::write_file(m_dir.file("text"), "no folder");
  m_config.set_text("event_log", "file", m_dir.file("text/events.log"));
  EXPECT_EQ(run(), EXIT_START_FAILED);
  EXPECT_THAT(m_said, testing::AllOf(HasSubstr("text/events.log"), HasSubstr("set event_log.file")));
}

TEST_F(DaemonTest, RefusesAnOrbWithoutItsProcessAsAMistakeOfTheConfiguration) {
  m_config.add_orb("teller", "bank");
  EXPECT_EQ(run(), EXIT_CONFIGURATION);
  EXPECT_THAT(m_said, HasSubstr("orb \"teller\": there is no process \"bank\""));
}

TEST_F(DaemonTest, StartsAgainAfterItStopped) {
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(run(), EXIT_STOPPED);
    support::write_file(m_dir.file("events.jsonl"), "");
  }
}

// Some object of the daemon's own that servers call.
class Servant : public POA_QZ_LocatorAdmin::ActiveProcessRegistry {
 public:
  QZ_LocatorAdmin::ActiveProcess_ptr find(const char*) override { return QZ_LocatorAdmin::ActiveProcess::_nil(); }
  QZ_LocatorAdmin::ActiveProcessInfoList* list(const char*, CORBA::ULong, CORBA::String_out next) override {
    next = CORBA::string_dup("");
    return new QZ_LocatorAdmin::ActiveProcessInfoList;
  }
};

class FrontDoorTest : public HostFixture {
 protected:
  std::string locator(const std::string& name) { return host().url() + "/" + name; }
};

TEST_F(FrontDoorTest, AnswersObjectNotExistWithoutAPlugin) {
  m_config.set("front_door", "listen", "[\"127.0.0.1:0\"]");
  open(Host::Listen::YES).start();
  const CORBA::Object_var object = host().orb_nc()->string_to_object(locator("nobody").c_str());
  EXPECT_TRUE(object->_non_existent());
  EXPECT_THROW(object->_is_a("IDL:x:1.0"), CORBA::OBJECT_NOT_EXIST);
}

TEST_F(FrontDoorTest, LeadsToWhatTheLocatorMadeKnown) {
  m_config.set("front_door", "listen", "[\"127.0.0.1:0\"]");
  open(Host::Listen::YES);
  const CORBA::Object_var poa = host().orb_nc()->resolve_initial_references("RootPOA");
  const PortableServer::POA_var root = PortableServer::POA::_narrow(poa);
  Servant servant;
  const PortableServer::ObjectId_var id = root->activate_object(&servant);
  const CORBA::Object_var target = root->id_to_reference(id);
  host().locator().make_known("Target", target, QZ_LocatorInternal::ROLE_SERVER);
  host().start();
  const CORBA::Object_var object = host().orb_nc()->string_to_object(locator("Target").c_str());
  EXPECT_TRUE(object->_is_a("IDL:QZ_LocatorAdmin/ActiveProcessRegistry:1.0"));
  close();  // before the servant goes
}

TEST_F(HostFixture, ResolvesTheInitialReferencesOfPlugins) {
  open();
  for (const char* name :
       {"QZ_EventLog", "QZ_Configuration", "QZ_BindingManager", "TransactionCurrent", "POACurrent"}) {
    const CORBA::Object_var object = host().orb_nc()->resolve_initial_references(name);
    EXPECT_FALSE(CORBA::is_nil(object)) << name;
  }
}

}  // namespace
