// Who reaches the ORB's endpoint before the start and after the stop.
#include <gmock/gmock.h>

#include <qz_locator_admin.hh>

#include "platform/orb/ior_impl.h"
#include "tests/support/giop_client.h"
#include "tests/support/loopback.h"
#include "tests/unit/daemon/host_fixture.h"

namespace {

using namespace poalocd;
using support::GiopClient;
using support::Reply;

constexpr std::uint32_t NO_EXCEPTION = 0;
constexpr std::uint32_t OBJECT_HERE = 1;

class Servant : public POA_QZ_LocatorAdmin::ActiveProcessRegistry {
 public:
  QZ_LocatorAdmin::ActiveProcess_ptr find(const char*) override { return QZ_LocatorAdmin::ActiveProcess::_nil(); }
  QZ_LocatorAdmin::ActiveProcessInfoList* list(const char*, CORBA::ULong, CORBA::String_out next) override {
    next = CORBA::string_dup("");
    return new QZ_LocatorAdmin::ActiveProcessInfoList;
  }
};

class ConnectionGateTest : public HostFixture {
 protected:
  ConnectionGateTest() { m_config.set_text("orb_endpoint", "listen", m_address + ":2810"); }
  ~ConnectionGateTest() override { close(); }  // before the servant goes

  // As a plug-in does it: a persistent POA with an object under a fixed id.
  void make_object() {
    const auto parent = host().parent_poa_nc();
    CORBA::PolicyList policies;
    policies.length(2);
    policies[0] = parent->create_lifespan_policy(PortableServer::PERSISTENT);
    policies[1] = parent->create_id_assignment_policy(PortableServer::USER_ID);
    const PortableServer::POAManager_var manager = parent->the_POAManager();
    m_poa = parent->create_POA("plugin", manager, policies);
    const PortableServer::ObjectId_var id = PortableServer::string_to_ObjectId("object");
    m_poa->activate_object_with_id(id, &m_servant);
    const CORBA::Object_var object = m_poa->id_to_reference(id);
    const RefCountHandle<QZ_IOR::IORImpl> reference(QZ_IOR::from_object(object));
    m_key = reference->object_key();
  }

  GiopClient connect() const { return GiopClient(m_address, 2810); }
  support::RequestSpec spec() const {
    support::RequestSpec spec;
    spec.key = m_key;
    spec.operation = "_non_existent";
    return spec;
  }

  const std::string m_address = support::own_address(0);
  Servant m_servant;
  PortableServer::POA_var m_poa;
  support::Octets m_key;
};

TEST_F(ConnectionGateTest, EarlyCallsAreAnsweredAfterTheStart) {
  open();
  make_object();
  close();
  open();
  GiopClient calls = connect();
  GiopClient locates = connect();
  calls.send(request(spec()));
  locates.send(locate_request(spec()));
  EXPECT_FALSE(support::wait_until([&] { return calls.something_arrived() || locates.something_arrived(); },
                                   std::chrono::milliseconds(200)));
  make_object();
  host().start();
  const Reply answer = calls.receive_reply();
  EXPECT_EQ(answer.status, NO_EXCEPTION);
  EXPECT_EQ(locates.receive_reply().status, OBJECT_HERE);
}

TEST_F(ConnectionGateTest, EarlyCallsHearNothingWhenThereIsNoStart) {
  open();
  make_object();
  close();
  open();
  GiopClient calls = connect();
  GiopClient locates = connect();
  calls.send(request(spec()));
  locates.send(locate_request(spec()));
  host().stop();
  EXPECT_TRUE(calls.wait_for_end());
  EXPECT_TRUE(locates.wait_for_end());
}

TEST_F(ConnectionGateTest, LateCallsAreToldToTryAgain) {
  open();
  make_object();
  host().start();
  GiopClient client = connect();
  EXPECT_EQ(client.call(request(spec())).status, NO_EXCEPTION);
  host().stop();
  m_poa->destroy(true, true);
  const Reply answer = client.call(request(spec()));
  ASSERT_TRUE(answer.exception);
  EXPECT_EQ(answer.exception->id, "IDL:omg.org/CORBA/TRANSIENT:1.0");
  GiopClient stranger = connect();
  stranger.try_send(request(spec()));
  EXPECT_TRUE(stranger.wait_for_end());
}

}  // namespace
