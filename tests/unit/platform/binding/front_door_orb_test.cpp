// A whole ORB as the client: it must understand what the front door says.
#include "tests/unit/platform/binding/front_door_test.h"
#include "tests/unit/platform/binding/test_orb.h"

namespace test {
namespace {

class FrontDoorOrb : public FrontDoorTest {
 protected:
  FrontDoorOrb() {
    const PortableServer::ObjectId_var id = root_poa()->activate_object(&servant);
    server = root_poa()->id_to_reference(id);
    target = manager->object_to_ior(server);
  }
  ~FrontDoorOrb() override {
    const PortableServer::ObjectId_var id = root_poa()->reference_to_id(server);
    root_poa()->deactivate_object(id);
  }

  CORBA::Object_var locator_reference(const std::string& key) {
    QZ_IOR::IOREndpoint_var where = manager->endpoint(octet_seq(key), QZ_Binding::EffectivePolicies::_nil());
    QZ_IOR::IOR_var ior = where->make_ior(octet_seq("object"), "");
    return manager->ior_to_object(ior);
  }
  // Calls "size" with so many octets.
  static CORBA::ULong call(CORBA::Object_ptr object, CORBA::ULong size) {
    CORBA::OctetSeq data;
    data.length(size);
    CORBA::Request_var request = object->_request("size");
    request->add_in_arg() <<= data;
    request->set_return_type(CORBA::_tc_ulong);
    request->invoke();
    if (request->env()->exception()) request->env()->exception()->_raise();
    CORBA::ULong result = 0;
    EXPECT_TRUE(request->return_value() >>= result);
    return result;
  }

  SizeServant servant;
  CORBA::Object_var server;
  QZ_IOR::IOR_var target;
};

TEST_F(FrontDoorOrb, FollowsTheForwardOfAPersistentReference) {
  auto binding = bound(*manager, endpoint, QZ_Binding::DISPATCH_INLINE, [&](const Pending& p) { p.forward(target); });
  start();
  const CORBA::Object_var object = locator_reference(endpoint);
  EXPECT_EQ(call(object, 3), 3u);
  EXPECT_EQ(call(object, 200'000), 200'000u);
  EXPECT_EQ(servant.calls, 2);
  EXPECT_GE(counters().forwards, 1u);
  EXPECT_EQ(counters().protocol_errors, 0u);
}

TEST_F(FrontDoorOrb, FollowsAForwardThatIsGivenLater) {
  Parking parking;
  auto binding = bound(*manager, endpoint, QZ_Binding::DISPATCH_WORKER, [&](const Pending& p) { parking.add(p); });
  start();
  std::thread server_start([&] {
    for (const Pending& pending : parking.take(1)) pending.forward(target);
  });
  EXPECT_EQ(call(locator_reference(endpoint), 5), 5u);
  server_start.join();
}

TEST_F(FrontDoorOrb, ResolvesANameGivenAsCorbaloc) {
  manager->register_name("EndpointRegistry", target, 0);
  start();
  const std::string url = "corbaloc::127.0.0.1:" + std::to_string(port()) + "/EndpointRegistry";
  const CORBA::Object_var object = orb()->string_to_object(url.c_str());
  EXPECT_EQ(call(object, 9), 9u);
}

TEST_F(FrontDoorOrb, ReceivesTheInterceptorsException) {
  auto binding = bound(*manager, endpoint, QZ_Binding::DISPATCH_INLINE,
                       [&](const Pending& p) { p.refuse(CORBA::INV_OBJREF(0x515A0C01, CORBA::COMPLETED_NO)); });
  start();
  try {
    call(locator_reference(endpoint), 1);
    FAIL() << "no exception";
  } catch (const CORBA::INV_OBJREF& e) {
    EXPECT_EQ(e.minor(), 0x515A0C01u);
    EXPECT_EQ(e.completed(), CORBA::COMPLETED_NO);
  }
}

TEST_F(FrontDoorOrb, LearnsThatAnObjectDoesNotExist) {
  start();
  EXPECT_THROW(call(locator_reference(endpoint), 1), CORBA::OBJECT_NOT_EXIST);
  EXPECT_TRUE(locator_reference(endpoint)->_non_existent());
}

}  // namespace
}  // namespace test
