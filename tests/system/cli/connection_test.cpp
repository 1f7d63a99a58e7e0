// Locators that are not there, and what pretends to be one.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include "tests/support/corba_side.h"
#include "tests/support/loopback.h"
#include "tests/support/object_key.h"
#include "tests/system/cli/cli_test.h"

namespace {

using ::testing::HasSubstr;

// Answers whatever comes, and closes the connection then or leaves it open.
class FakeLocator {
 public:
  using Answer = std::function<std::string(const std::string& request, const FakeLocator& fake)>;

  FakeLocator(const std::string& host, Answer answer, bool close) : m_host(host), m_answer(answer), m_close(close) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    inet_pton(AF_INET, host.c_str(), &address.sin_addr);
    m_fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    socklen_t size = sizeof address;
    if (bind(m_fd, reinterpret_cast<sockaddr*>(&address), size) != 0 || listen(m_fd, 16) != 0 ||
        getsockname(m_fd, reinterpret_cast<sockaddr*>(&address), &size) != 0)
      throw std::runtime_error("cannot listen at " + host);
    m_port = ntohs(address.sin_port);
    m_thread = std::thread([this] { serve(); });
  }
  // Always the same.
  FakeLocator(const std::string& host, const std::string& answer, bool close)
      : FakeLocator(host, [answer](const std::string&, const FakeLocator&) { return answer; }, close) {}
  // After all who are connected.
  ~FakeLocator() {
    shutdown(m_fd, SHUT_RDWR);
    m_thread.join();
    close(m_fd);
  }
  FakeLocator(const FakeLocator&) = delete;
  FakeLocator& operator=(const FakeLocator&) = delete;

  const std::string& host() const { return m_host; }
  unsigned port() const { return m_port; }
  std::string address() const { return m_host + ":" + std::to_string(m_port); }

 private:
  void serve() {
    for (int fd; (fd = accept4(m_fd, nullptr, nullptr, SOCK_CLOEXEC)) >= 0; close(fd)) {
      char request[4096];
      for (ssize_t size; (size = recv(fd, request, sizeof request, 0)) > 0;) {
        const std::string answer = m_answer({request, static_cast<std::size_t>(size)}, *this);
        send(fd, answer.data(), answer.size(), MSG_NOSIGNAL);
        if (m_close) break;
      }
    }
  }

  const std::string m_host;
  const Answer m_answer;
  const bool m_close;
  int m_fd = -1;
  unsigned m_port = 0;
  std::thread m_thread;
};

// GIOP 1.0 without service contexts, which have the request id behind them.
std::string forward_to_itself(const std::string& request, const FakeLocator& fake) {
  using namespace std::string_literals;
  const CORBA::Object_var self = support::make_reference(fake.host(), fake.port(), {'k', 'e', 'y'});
  cdrMemoryStream reference;
  CORBA::Object::_marshalObjRef(self, reference);
  const std::string ior(static_cast<const char*>(reference.bufPtr()), reference.bufSize());
  const std::string body = "\0\0\0\0"s + request.substr(16, 4) + "\x03\0\0\0"s + ior;
  const auto size = static_cast<unsigned>(body.size());
  return "GIOP\x01\0\x01\x01"s + static_cast<char>(size & 255) + static_cast<char>(size >> 8) + "\0\0"s + body;
}

class ConnectionTest : public CliTest {
 protected:
  void SetUp() override {}
};

TEST_F(ConnectionTest, AddressesThatAreNone) {
  for (const char* address : {"", "corbaloc:", "corbaloc::", "host:1/name", "host name", "host:1#x"})
    EXPECT_TRUE(fails({"--locator", address, "status"}, USAGE, "")) << address;
  EXPECT_TRUE(fails({"--locator", "host:1/name", "poa", "list"}, USAGE,
                    "\"host:1/name\" names no locator: write its front door as HOST:PORT"));
  for (const char* address : {"127.0.0.1:port", "127.0.0.1:99999", ":2809", "corbaloc::127.0.0.1:99999"})
    EXPECT_TRUE(fails({"--locator", address, "status"}, USAGE, "names no locator: write its front door as HOST:PORT"))
        << address;
}

TEST_F(ConnectionTest, AddressesAreShownWithoutWhatATerminalObeys) {
  for (const Words& verb : {Words{"status"}, Words{"ping"}, Words{"ref", "make", "A", "--id", "1"}}) {
    Words words{"--locator", "\033[31mhost:1"};
    words.insert(words.end(), verb.begin(), verb.end());
    EXPECT_TRUE(fails(words, USAGE, "\"\\x1b[31mhost:1\" names no locator"));
  }
}

// Another machine's servers and clients are admitted at one address, administrators at the other.
TEST_F(ConnectionTest, OneAddressForAllAndOneForServersAndClients) {
  const std::string outside = support::own_address(1);
  m_locator.config().set(
      "front_door", "listen",
      "[\"" + m_locator.address() + "\", { address = \"" + outside + ":2809\", roles = [\"client\", \"server\"] }]");
  m_locator.config().set(
      "orb_endpoint", "listen",
      "[\"" + m_locator.host() + ":2810\", { address = \"" + outside + ":2810\", roles = [\"server\"] }]");
  m_locator.start();
  does({"process", "add", "bank", "--", support::program("test_server"), "--locator", outside + ":2809", "--domain",
        m_locator.domain(), "--address", outside, "--orb", "bank", "--owner", std::to_string(getpid()), "--ready",
        m_dir.file("bank.ready"), "--poa", "Bank"});
  does({"orb", "add", "bank", "--process", "bank"});
  start_server("bank");
  EXPECT_EQ(line({"active", "list"})["orb"], "bank");
  EXPECT_TRUE(fails({"--locator", outside + ":2809", "status"}, UNREACHABLE,
                    "use an address at which it admits administrators"));
  // A client of the other machine, before and after its server is started.
  const std::string reference = line({"ref", "make", "Bank", "--id", "1"})["reference"];
  const auto octets = support::parse_stringified_reference(reference).key;
  std::string url = "corbaloc::" + outside + ":2809/";
  for (const unsigned char octet : octets) {
    char text[4];
    std::snprintf(text, sizeof text, "%%%02x", octet);
    url += text;
  }
  EXPECT_THAT(table({"ping", url}), HasSubstr("The object answers after"));
  does({"process", "stop", "bank"});
  EXPECT_THAT(table({"ping", url}), HasSubstr("The object answers after"));
}

TEST_F(ConnectionTest, NobodyIsThere) {
  for (const Words& verb : std::vector<Words>{{"status"},
                                              {"poa", "list"},
                                              {"poa", "tree"},
                                              {"active", "list"},
                                              {"orb", "list"},
                                              {"process", "list"},
                                              {"events"},
                                              {"events", "--follow"},
                                              {"export"},
                                              {"ref", "make", "A", "--id", "1"},
                                              {"--json", "status"}})
    EXPECT_TRUE(fails(verb, UNREACHABLE,
                      "No locator answers at corbaloc::" + m_locator.address() +
                          ": start poalocd, or name another address with --locator"));
  EXPECT_TRUE(fails({"--locator", "no-such-host.invalid:2809", "status"}, UNREACHABLE, "No locator answers at"));
  EXPECT_TRUE(fails({"--locator", m_locator.host() + ":1", "ping"}, UNREACHABLE, "No locator answers at"));
}

TEST_F(ConnectionTest, TheOrbsEndpointIsNoFrontDoor) {
  m_locator.start();
  EXPECT_TRUE(fails({"--locator", m_locator.host() + ":2810", "status"}, UNREACHABLE,
                    "use an address at which it admits administrators, with --locator"));
}

TEST_F(ConnectionTest, WithoutTheAdministratorsRoleNoNameIsTold) {
  m_locator.config().set("front_door", "listen",
                         "[{ address = \"" + m_locator.address() + "\", roles = [\"server\"] }]");
  m_locator.start();
  for (const Words& verb : std::vector<Words>{{"status"}, {"poa", "list"}, {"active", "list"}, {"orb", "list"}})
    EXPECT_TRUE(fails(verb, UNREACHABLE, "use an address at which it admits administrators"));
  EXPECT_THAT(table({"ping"}), HasSubstr("answers after"));
}

TEST_F(ConnectionTest, GarbageIsAnError) {
  using namespace std::string_literals;
  const std::string answers[] = {
      "",
      "HTTP/1.1 400 Bad Request\r\n\r\n",
      "GIOP",
      "GIOP\x01\x02\x01\x06\x00\x00\x00\x00"s,
      "GIOP\x01\x02\x01\x05\x00\x00\x00\x00"s,
      "GIOP\x01\x02\x01\x01\xff\xff\xff\xff"s,
      "GIOP\x01\x02\x01\x01\x04\x00\x00\x00\xff\xff\xff\xff"s,
      "GIOP\x01\x02\x01\x01\x0c\x00\x00\x00\x02\x00\x00\x00\x03\x00\x00\x00\xff\xff\xff\x7f"s,
      std::string(100000, '\xa5'),
  };
  for (const std::string& answer : answers) {
    const FakeLocator fake(m_locator.host(), answer, true);
    for (const Words& verb : {Words{"status"}, Words{"ping"}})
      EXPECT_TRUE(fails({"--locator", fake.address(), "--timeout", "2", verb.front()}, UNREACHABLE, fake.address()))
          << verb.front() << " after " << ::testing::PrintToString(answer.substr(0, 40));
  }
}

TEST_F(ConnectionTest, CirclesEnd) {
  const FakeLocator fake(m_locator.host(), forward_to_itself, false);
  for (const char* verb : {"status", "ping"})
    EXPECT_TRUE(fails({"--locator", fake.address(), verb}, UNREACHABLE, fake.address())) << verb;
}

TEST_F(ConnectionTest, SilenceEndsWithTheTimeLimit) {
  const FakeLocator fake(m_locator.host(), "", false);
  EXPECT_TRUE(fails({"--locator", fake.address(), "--timeout", "0.5", "poa", "list"}, UNREACHABLE,
                    "did not answer within 500ms: try again, or give it longer with --timeout"));
  for (const char* limit : {"0", "nan", "-1", "inf", "3601", "ten", ""})
    EXPECT_TRUE(fails({"--timeout", limit, "poa", "list"}, USAGE, "from 0.1 to 3600 seconds")) << limit;
}

TEST_F(ConnectionTest, HalfAnAnswerEndsWithTheTimeLimit) {
  using namespace std::string_literals;
  const FakeLocator fake(m_locator.host(), "GIOP\x01\x02\x01\x01\x64\x00\x00\x00\x02\x00"s, false);
  EXPECT_TRUE(fails({"--locator", fake.address(), "--timeout", "0.5", "status"}, UNREACHABLE, "500ms"));
}

TEST_F(ConnectionTest, TheOptionWinsOverTheEnvironment) {
  m_locator.start();
  m_environment["POALOCATOR_URL"] = "corbaloc::" + m_locator.host() + ":1";
  EXPECT_TRUE(fails({"ping"}, UNREACHABLE, ":1: start poalocd"));
  EXPECT_THAT(table({"--locator", m_locator.address(), "ping"}), HasSubstr("answers after"));
  EXPECT_THAT(table({"ping", "--locator", "corbaloc::" + m_locator.address() + "/"}), HasSubstr("answers after"));
}

}  // namespace
