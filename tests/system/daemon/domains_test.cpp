// Locators of different domains serve the same POA names without mixing them up.
#include "tests/system/daemon/daemon_test.h"

namespace {

using support::FakeServer;
using support::GiopClient;
using support::is_object_not_exist;
using support::Locator;
using support::Octets;
using support::octets_of;

class DomainsTest : public DaemonTest {
 protected:
  void SetUp() override {
    m_locator.config().set_domain("east");
    m_west.config().set_domain("eastern");
    m_locator.start();
    m_west.start();
  }
  void TearDown() override {
    m_west.terminate();
    DaemonTest::TearDown();
  }

  static support::Reply ask(const Locator& locator, const Octets& key) {
    support::RequestSpec spec;
    spec.key = key;
    return GiopClient(locator.host(), Locator::FRONT_DOOR).call(request(spec));
  }

  Locator m_west{m_dir, 1};
  FakeServer m_west_server{m_west, "server"};
};

TEST_F(DomainsTest, EachLocatorServesItsOwnDomainAlone) {
  m_server.add("Bank");
  EXPECT_TRUE(ask(m_locator, m_server.key_of("Bank")).forward);
  EXPECT_TRUE(is_object_not_exist(ask(m_west, m_server.key_of("Bank"))));
  EXPECT_TRUE(is_object_not_exist(ask(m_west, m_west_server.key_of("Bank"))));
  m_west_server.add("Bank");
  EXPECT_TRUE(ask(m_west, m_west_server.key_of("Bank")).forward);
  EXPECT_TRUE(is_object_not_exist(ask(m_locator, m_west_server.key_of("Bank"))));
}

TEST_F(DomainsTest, OtherFormatMarkerIsAnotherKey) {
  m_server.add("Bank");
  Octets key = m_server.key_of("Bank");
  // The marker's octets follow its length.
  key[4] = 'X';
  EXPECT_TRUE(is_object_not_exist(ask(m_locator, key)));
}

TEST_F(DomainsTest, NameThatLooksLikeAKeyIsNoKeyAndTheOtherWayRound) {
  m_server.add("EndpointRegistry");
  // A POA of a registry's name, and the registry.
  const support::Reply poa = ask(m_locator, m_server.key_of("EndpointRegistry"));
  EXPECT_TRUE(support::is_forward(poa, FakeServer::HOST, FakeServer::PORT, FakeServer::server_key("EndpointRegistry")));
  const support::Reply name = ask(m_locator, octets_of("EndpointRegistry"));
  ASSERT_TRUE(name.forward);
  EXPECT_EQ(name.forward->port, unsigned{Locator::ORB_ENDPOINT});
}

}  // namespace
