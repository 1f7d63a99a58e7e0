// Registration of endpoint activators.
#include <atomic>
#include <memory>
#include <mutex>

#include "tests/system/registration/registration_test.h"

namespace {

using QZ_POA_PersistentServer::EndpointActivatorRegistry;
using support::GiopClient;
using support::Octets;

class ActivatorRegistryTest : public RegistrationTest {
 protected:
  static void ignore(const std::vector<Octets>&) {}

  std::mutex m_mutex;
  std::vector<std::string> m_activated;  // guarded by m_mutex
};

TEST_F(ActivatorRegistryTest, OrbNeverSeenBeforeIsAccepted) {
  const auto activator = support::new_activator(ignore);
  QZ_POA_PersistentServer::EndpointIdList_var ids;
  activator_registry()->add("new", activator, ids.out());
  EXPECT_EQ(ids->length(), 0U);
  EXPECT_TRUE(m_locator.log().wait_for(10, {"new"}));
}

TEST_F(ActivatorRegistryTest, RemovingAnUnknownOneIsRefused) {
  const auto refusal = raised_by<EndpointActivatorRegistry::EntryNotExist>([&] { m_server.remove_activator(); });
  ASSERT_TRUE(refusal);
  EXPECT_STREQ(refusal->orb_name, "server");
  EXPECT_TRUE(m_locator.log().wait_for([](const support::Event& event) {
    return event.subsystem == support::PLUGIN && event.id == 13 && event.priority == 16 &&
           event.message == "POA activator unregistration rejected, not registered.\nORB name: server";
  }));
}

TEST_F(ActivatorRegistryTest, OrbWithoutPoasIsForgottenWithItsActivator) {
  m_server.add_activator(ignore);
  m_server.remove_activator();
  EXPECT_TRUE(m_locator.log().wait_for(11, {"server"}));
  EXPECT_THROW(m_server.remove_activator(), EndpointActivatorRegistry::EntryNotExist);
}

TEST_F(ActivatorRegistryTest, OrbWithPoasOutlivesItsActivator) {
  m_server.add("Bank");
  m_server.add_activator(ignore);
  m_server.remove_activator();
  EXPECT_TRUE(is_active(m_server, "Bank"));
  m_server.add_activator(ignore);
  m_server.remove_activator();
  EXPECT_TRUE(m_locator.log().wait_for(11, {"server"}, 2));
}

TEST_F(ActivatorRegistryTest, SecondActivatorReplacesALivingOneAndBothMessagesAreLogged) {
  m_server.register_and_leave({"Bank"});
  m_server.add_activator([](const std::vector<Octets>&) { throw CORBA::NO_RESOURCES(); });
  m_server.add_activator([&](const std::vector<Octets>&) { m_server.add("Bank"); });
  EXPECT_TRUE(is_active(m_server, "Bank"));
  std::vector<unsigned> ids;
  for (const support::Event& event : m_locator.log().events()) {
    if (event.subsystem == support::PLUGIN && (event.id == 12 || event.id == 14)) ids.push_back(event.id);
  }
  EXPECT_THAT(ids, ::testing::ElementsAre(12, 14));
}

TEST_F(ActivatorRegistryTest, SecondActivatorReplacesADeadOne) {
  m_server.register_and_leave({"Bank"});
  m_server.add_activator(ignore);
  m_server.crash_activator();
  m_server.add_activator([&](const std::vector<Octets>&) { m_server.add("Bank"); });
  EXPECT_TRUE(is_active(m_server, "Bank"));
  EXPECT_TRUE(m_locator.log().wait_for(14, {"server"}));
  EXPECT_EQ(m_locator.log().count(12), 0U);
}

TEST_F(ActivatorRegistryTest, NilActivatorIsNoActivator) {
  m_server.register_and_leave({"Bank"});
  QZ_POA_PersistentServer::EndpointIdList_var ids;
  allow_refusal(
      [&] { activator_registry()->add("server", QZ_POA_PersistentServer::EndpointActivator::_nil(), ids.out()); });
  const support::Reply reply = call(m_server.key_of("Bank"));
  ASSERT_TRUE(reply.exception) << describe(reply);
  EXPECT_EQ(reply.exception->id, "IDL:omg.org/CORBA/TRANSIENT:1.0");
}

TEST_F(ActivatorRegistryTest, EachPoaIsActivatedOnce) {
  m_server.register_and_leave({"Bank", "Audit"});
  m_server.add_activator([&](const std::vector<Octets>& ids) {
    const std::scoped_lock lock(m_mutex);
    for (const Octets& id : ids) m_activated.push_back(support::path_of(id));
  });
  std::vector<GiopClient> clients;
  for (int i = 0; i < 10; ++i) {
    clients.push_back(connect());
    clients.back().send(request(spec_for(m_server.key_of(i % 2 == 0 ? "Bank" : "Audit"))));
  }
  ASSERT_TRUE(support::wait_until([&] {
    const std::scoped_lock lock(m_mutex);
    return m_activated.size() >= 2;
  }));
  m_server.add("Bank");
  m_server.add("Audit");
  for (GiopClient& client : clients) EXPECT_TRUE(client.receive_reply().forward);
  const std::scoped_lock lock(m_mutex);
  EXPECT_THAT(m_activated, ::testing::UnorderedElementsAre("Bank", "Audit"));
}

TEST_F(ActivatorRegistryTest, ActivationThatFailedIsTriedAgain) {
  m_server.register_and_leave({"Bank"});
  const auto fail = std::make_shared<std::atomic<bool>>(true);
  m_server.add_activator([this, fail](const std::vector<Octets>&) {
    if (*fail) throw QZ_POA_PersistentServer::EndpointActivator::EndpointNonExistent();
    m_server.add("Bank");
  });
  EXPECT_TRUE(support::is_exception(call(m_server.key_of("Bank")), "OBJECT_NOT_EXIST", support::minor_code(6)));
  *fail = false;
  // A call that follows closely may still get the outcome of the failed activation.
  EXPECT_TRUE(support::wait_until([&] { return static_cast<bool>(is_active(m_server, "Bank")); }));
}

}  // namespace
