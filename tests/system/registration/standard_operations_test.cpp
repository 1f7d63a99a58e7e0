// What the registries answer besides their own operations, octets in and octets out.
#include <sqlite3.h>

#include <map>
#include <memory>
#include <tuple>

#include "tests/system/registration/registration_test.h"

namespace {

using support::CdrReader;
using support::CdrWriter;
using support::GiopClient;
using support::Octets;
using support::Reply;
using support::RequestSpec;

constexpr std::uint32_t COMPLETED_NO = 1;
constexpr std::uint32_t COMPLETED_MAYBE = 2;

class StandardOperationsTest : public RegistrationTest {
 protected:
  // Calls the object behind the name at the ORB endpoint.
  Reply call(const std::string& name, const std::string& operation, const Octets& body = {}) const {
    const Reply forward = RegistrationTest::call(support::octets_of(name));
    if (!forward.forward) throw std::runtime_error("no forward: " + describe(forward));
    RequestSpec spec;
    spec.key = forward.forward->key;
    spec.operation = operation;
    spec.body = body;
    return GiopClient(forward.forward->host, static_cast<int>(forward.forward->port)).call(request(spec));
  }

  bool call_is_a(const std::string& name, const std::string& id) const {
    const Reply reply = call(name, "_is_a", CdrWriter(support::ByteOrder::BIG).text(id).octets());
    EXPECT_EQ(reply.status, support::NO_EXCEPTION) << describe(reply);
    return !reply.body.empty() && reply.body[0] == 1;
  }

  // Takes the repository's records away under the running locator.
  void damage_store() const {
    sqlite3* database = nullptr;
    ASSERT_EQ(sqlite3_open(m_dir.file("locator0.db").c_str(), &database), SQLITE_OK);
    const std::unique_ptr<sqlite3, int (*)(sqlite3*)> owner(database, sqlite3_close);
    std::string table;
    const auto keep = [](void* result, int, char** values, char**) {
      *static_cast<std::string*>(result) = values[0];
      return 0;
    };
    ASSERT_EQ(
        sqlite3_exec(database, "select name from sqlite_master where type = 'table' and name glob 'h*_namespacedata'",
                     keep, &table, nullptr),
        SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(database, ("alter table " + table + " rename to gone").c_str(), nullptr, nullptr, nullptr),
              SQLITE_OK);
  }

  static std::string own_id(const std::string& name) {
    static const std::map<std::string, std::string> ids = {
        {"EndpointRegistry", "IDL:QZ_POA_PersistentServer/EndpointRegistry:1.0"},
        {"EndpointActivatorRegistry", "IDL:QZ_POA_PersistentServer/EndpointActivatorRegistry:1.0"},
        {"POARegistry", "IDL:QZ_POAIMRAdmin/POARegistry:1.0"}};
    return ids.at(name);
  }

  const std::vector<std::string> m_names{"EndpointRegistry", "EndpointActivatorRegistry", "POARegistry"};
};

TEST_F(StandardOperationsTest, IsAKnowsTheInterfaceAndNoOther) {
  for (const std::string& name : m_names) {
    SCOPED_TRACE(name);
    EXPECT_TRUE(call_is_a(name, own_id(name)));
    EXPECT_TRUE(call_is_a(name, "IDL:omg.org/CORBA/Object:1.0"));
    EXPECT_FALSE(call_is_a(name, "IDL:QZ_POA_PersistentServer/EndpointActivator:1.0"));
  }
}

TEST_F(StandardOperationsTest, NonExistentIsFalse) {
  for (const std::string& name : m_names) {
    const Reply reply = call(name, "_non_existent");
    EXPECT_EQ(reply.status, support::NO_EXCEPTION) << describe(reply);
    ASSERT_FALSE(reply.body.empty());
    EXPECT_EQ(reply.body[0], 0);
  }
}

TEST_F(StandardOperationsTest, InterfaceIsAnswered) {
  // There is no interface repository: the reference is nil, or the ORB says that it has none.
  for (const std::string& name : m_names) {
    const Reply reply = call(name, "_interface");
    if (reply.exception) {
      EXPECT_THAT(reply.exception->id,
                  ::testing::AnyOf("IDL:omg.org/CORBA/INTF_REPOS:1.0", "IDL:omg.org/CORBA/NO_IMPLEMENT:1.0"));
    } else {
      EXPECT_EQ(reply.status, support::NO_EXCEPTION);
      EXPECT_EQ(CdrReader(reply.body, reply.dialect.order).text(), "");
    }
  }
}

TEST_F(StandardOperationsTest, AnyOtherOperationIsRefusedBeforeItRuns) {
  for (const std::string& name : m_names) {
    for (const std::string operation :
         {"_get_children", "_set_name", "_get_name", "_set_orb_name", "children", "", "ADD", "add2", "_get_add"}) {
      SCOPED_TRACE(name + " " + operation);
      const Reply reply = call(name, operation);
      ASSERT_TRUE(reply.exception) << describe(reply);
      EXPECT_EQ(reply.exception->id, "IDL:omg.org/CORBA/BAD_OPERATION:1.0");
      EXPECT_EQ(reply.exception->completed, COMPLETED_NO);
    }
  }
}

TEST_F(StandardOperationsTest, ArgumentsThatCannotBeReadAreRefusedBeforeTheOperationRuns) {
  for (const std::string name : {"EndpointRegistry", "EndpointActivatorRegistry"}) {
    for (const std::string operation : {"add", "remove"}) {
      for (const Octets& body : {Octets{}, Octets{0, 0, 0, 50, 'x', 0}, Octets(8, 0xFF)}) {
        SCOPED_TRACE(name + " " + operation);
        const Reply reply = call(name, operation, body);
        ASSERT_TRUE(reply.exception) << describe(reply);
        EXPECT_THAT(reply.exception->id,
                    ::testing::AnyOf("IDL:omg.org/CORBA/MARSHAL:1.0", "IDL:omg.org/CORBA/BAD_PARAM:1.0"));
        EXPECT_EQ(reply.exception->completed, COMPLETED_NO);
      }
    }
  }
  EXPECT_EQ(m_server.add("Bank"), 1U);
}

TEST_F(StandardOperationsTest, ExceptionThatAServantRaisesItselfSaysWhatTheServantKnows) {
  const Reply reply = call("POARegistry", "unregister_observer", CdrWriter(support::ByteOrder::BIG).ulong(1).octets());
  ASSERT_TRUE(reply.exception) << describe(reply);
  EXPECT_EQ(reply.exception->id, "IDL:omg.org/CORBA/NO_IMPLEMENT:1.0");
  EXPECT_EQ(reply.exception->minor, support::minor_code(2));
  EXPECT_EQ(reply.exception->completed, COMPLETED_NO);
}

TEST_F(StandardOperationsTest, FailureInsideAServantMayHaveComeAfterItDidSomething) {
  m_server.add("Bank");
  damage_store();
  for (const auto& [name, operation, body] :
       {std::tuple{"POARegistry", "_get_root_namespace", Octets{}},
        std::tuple{"POARegistry", "list_in_orb_name", CdrWriter(support::ByteOrder::BIG).text("server").octets()}}) {
    SCOPED_TRACE(operation);
    const Reply reply = call(name, operation, body);
    ASSERT_TRUE(reply.exception) << describe(reply);
    EXPECT_EQ(reply.exception->id, "IDL:omg.org/CORBA/PERSIST_STORE:1.0");
    EXPECT_EQ(reply.exception->completed, COMPLETED_MAYBE);
  }
}

TEST_F(StandardOperationsTest, UserExceptionCarriesItsMember) {
  const Reply reply =
      call("EndpointActivatorRegistry", "remove", CdrWriter(support::ByteOrder::BIG).text("nobody").octets());
  ASSERT_EQ(reply.status, support::USER_EXCEPTION) << describe(reply);
  CdrReader in(reply.body, reply.dialect.order);
  EXPECT_EQ(in.text(), "IDL:QZ_POA_PersistentServer/EndpointActivatorRegistry/EntryNotExist:1.0");
  EXPECT_EQ(in.text(), "nobody");
}

TEST_F(StandardOperationsTest, GarbageAtTheOrbEndpointDoesNoHarm) {
  for (const Octets& octets : {support::octets_of("GET / HTTP/1.1\r\n\r\n"), Octets(4096, 0xFF)}) {
    GiopClient client(m_locator.host(), support::Locator::ORB_ENDPOINT);
    client.try_send(octets);
    client.finish_sending();
    client.wait_for_end();
  }
  EXPECT_EQ(m_server.add("Bank"), 1U);
}

}  // namespace
