#include <gmock/gmock.h>

#include <atomic>
#include <thread>

#include "poa_locator/plugin/poa_loc_event_msg.h"
#include "tests/unit/poa_locator/plugin_fixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

template <class Exception, class Call>
void expect_raised(CORBA::ULong minor, Call&& call) {
  try {
    call();
    ADD_FAILURE() << "no exception";
  } catch (const Exception& ex) {
    EXPECT_EQ(ex.minor(), minor);
    EXPECT_EQ(ex.completed(), CORBA::COMPLETED_NO);
  }
}

class Administration : public PluginFixture {
 protected:
  Administration() {
    configure_process("p", {"orb"});
    configure_process("idle");
    start();
    const CORBA::Object_var object = known(QZ_POAIMRAdmin::POA_REGISTRY, QZ_LocatorInternal::ROLE_ADMINISTRATOR);
    m_registry = QZ_POAIMRAdmin::POARegistry::_narrow(object);
    m_root = m_registry->root_namespace();
  }

  // The reference of an entry that need not exist.
  QZ_POAIMRAdmin::POA_var reference(const std::vector<std::string>& name) {
    return QZ_POAIMRAdmin::POA_var(Endpoint(registry(), *id_of(name)).external_reference());
  }
  static std::vector<std::string> paths(QZ_POAIMRAdmin::POAList_var list) {
    std::vector<std::string> result;
    for (CORBA::ULong i = 0; i < list->length(); ++i) {
      const QZ_POAIMRAdmin::FullyQualifiedName_var name = list[i]->full_name();
      result.push_back(EndpointIdUtils::fqpn_to_string(name, '/'));
    }
    return result;
  }

  QZ_POAIMRAdmin::POARegistry_var m_registry;
  QZ_POAIMRAdmin::POA_var m_root;
};

TEST_F(Administration, RegistryIsKnownToAdministratorsUnderItsConstant) {
  EXPECT_FALSE(CORBA::is_nil(m_registry));
  EXPECT_TRUE(m_registry->_is_a("IDL:QZ_POAIMRAdmin/POARegistry:1.0"));
  EXPECT_FALSE(m_registry->_non_existent());
}

TEST_F(Administration, RegistryIsNotKnownToServers) {
  EXPECT_TRUE(CORBA::is_nil(CORBA::Object_var(known(QZ_POAIMRAdmin::POA_REGISTRY, QZ_LocatorInternal::ROLE_SERVER))));
}

TEST_F(Administration, ServantsHaveTheirOwnPoas) {
  const PortableServer::POA_var poa = core().impl_poa_nc()->find_POA("QZ_POAIMRAdmin::POA", false);
  EXPECT_TRUE(poa->_is_equivalent(poa_imr().impl_endpoint_poa_nc()));
  EXPECT_NO_THROW(PortableServer::POA_var(core().impl_poa_nc()->find_POA("QZ_POAIMRAdmin::POARegistry", false)));
}

TEST_F(Administration, EntryShowsItsAttributes) {
  const QZ_POAIMRAdmin::POA_var a = m_root->add("A", true, false, "orb");
  const QZ_POAIMRAdmin::POAId_var id = a->id();
  EXPECT_EQ(octets(id), octets(*id_of({"A"})));
  EXPECT_STREQ(CORBA::String_var(a->name()), "A");
  const QZ_POAIMRAdmin::FullyQualifiedName_var full_name = a->full_name();
  EXPECT_THAT(texts(full_name), ElementsAre("A"));
  EXPECT_TRUE(a->persistent());
  EXPECT_FALSE(a->allow_dynamic_registration());
  EXPECT_STREQ(CORBA::String_var(a->orb_name()), "orb");
}

TEST_F(Administration, AttributesCanBeSet) {
  const QZ_POAIMRAdmin::POA_var a = m_root->add("A", true, false, "orb");
  a->allow_dynamic_registration(true);
  a->orb_name("other");
  EXPECT_TRUE(a->allow_dynamic_registration());
  EXPECT_STREQ(CORBA::String_var(a->orb_name()), "other");
  EXPECT_EQ(registry().find(*fqpn_of({"A"})).orb_name(), "other");
}

TEST_F(Administration, TreeCanBeWalked) {
  const QZ_POAIMRAdmin::POA_var a = m_root->add("A", false, true, "");
  a->add("Z", false, true, "");
  a->add("B", true, true, "orb");
  EXPECT_THAT(paths(a->children()), ElementsAre("A/Z", "A/B"));
  EXPECT_THAT(paths(m_root->children()), ElementsAre("A"));
  const QZ_POAIMRAdmin::POA_var b = a->lookup("B");
  EXPECT_TRUE(b->persistent());
  const QZ_POAIMRAdmin::POA_var parent = b->parent();
  EXPECT_TRUE(parent->_is_equivalent(a));
  expect_raised<CORBA::OBJECT_NOT_EXIST>(0x515A0C00, [&] { m_root->parent(); });
}

TEST_F(Administration, MissingChildIsANilReference) {
  EXPECT_TRUE(CORBA::is_nil(QZ_POAIMRAdmin::POA_var(m_root->lookup("none"))));
}

TEST_F(Administration, AddOfAnExistingNameCarriesTheFullName) {
  const QZ_POAIMRAdmin::POA_var a = m_root->add("A", false, true, "");
  a->add("B", false, true, "");
  try {
    a->add("B", true, true, "orb");
    FAIL() << "no exception";
  } catch (const QZ_POAIMRAdmin::POAAlreadyRegistered& refusal) {
    EXPECT_THAT(texts(refusal.name), ElementsAre("A", "B"));
  }
}

TEST_F(Administration, AddRefusesAnEmptyNameEvenBelowNothing) {
  expect_raised<CORBA::BAD_PARAM>(0x515A0C00, [&] { m_root->add("", true, true, "orb"); });
  expect_raised<CORBA::BAD_PARAM>(0x515A0C00, [&] { reference({"none"})->add("", false, true, "orb"); });
}

TEST_F(Administration, TransientEntriesHaveNoOrb) {
  EXPECT_FALSE(CORBA::is_nil(QZ_POAIMRAdmin::POA_var(m_root->add("A", false, true, ""))));
  expect_raised<CORBA::BAD_PARAM>(0x515A0C04, [&] { m_root->add("B", false, true, "orb"); });
  expect_raised<CORBA::BAD_PARAM>(0x515A0C04, [&] { reference({"none"})->add("B", false, true, "orb"); });
  EXPECT_THAT(paths(m_root->children()), ElementsAre("A"));
}

TEST_F(Administration, PersistentEntriesMayHaveNoOrb) {
  const QZ_POAIMRAdmin::POA_var a = m_root->add("A", true, true, "");
  EXPECT_TRUE(a->persistent());
  EXPECT_STREQ(CORBA::String_var(a->orb_name()), "");
}

TEST_F(Administration, DestroyTakesTheEntryAndItsSubtree) {
  const QZ_POAIMRAdmin::POA_var a = m_root->add("A", false, true, "");
  const QZ_POAIMRAdmin::POA_var b = a->add("B", false, true, "");
  a->destroy();
  EXPECT_THAT(paths(m_root->children()), IsEmpty());
  expect_raised<CORBA::OBJECT_NOT_EXIST>(0x515A0C00, [&] { b->persistent(); });
}

TEST_F(Administration, EveryOperationOnAMissingEntryRaises) {
  const QZ_POAIMRAdmin::POA_var gone = reference({"gone"});
  const auto refused = [](auto&& call) { expect_raised<CORBA::OBJECT_NOT_EXIST>(0x515A0C00, call); };
  refused([&] { delete gone->id(); });
  refused([&] { CORBA::string_free(gone->name()); });
  refused([&] { delete gone->full_name(); });
  refused([&] { gone->persistent(); });
  refused([&] { gone->allow_dynamic_registration(); });
  refused([&] { gone->allow_dynamic_registration(true); });
  refused([&] { CORBA::string_free(gone->orb_name()); });
  refused([&] { gone->orb_name("x"); });
  refused([&] { gone->parent(); });
  refused([&] { delete gone->children(); });
  refused([&] { gone->lookup("x"); });
  refused([&] { gone->add("x", false, true, ""); });
  refused([&] { gone->destroy(); });
}

TEST_F(Administration, FabricatedObjectIdsDoNotExist) {
  for (const char* octets_in : {"", "x", "\xff\xff\xff\xff"}) {
    const CORBA::OctetSeq id = octet_seq(octets_in);
    const QZ_POAIMRAdmin::POA_var object = Endpoint(registry(), id).external_reference();
    expect_raised<CORBA::OBJECT_NOT_EXIST>(0x515A0C00, [&] { object->persistent(); });
  }
}

TEST_F(Administration, RegistryFindsByFullName) {
  m_root->add("A", false, true, "")->add("B", true, true, "orb");
  const QZ_POAIMRAdmin::POA_var b = m_registry->find(*fqpn_of({"A", "B"}));
  EXPECT_STREQ(CORBA::String_var(b->name()), "B");
  const QZ_POAIMRAdmin::POA_var root = m_registry->find(*fqpn_of({}));
  EXPECT_TRUE(root->_is_equivalent(m_root));
  EXPECT_TRUE(CORBA::is_nil(QZ_POAIMRAdmin::POA_var(m_registry->find(*fqpn_of({"none"})))));
}

TEST_F(Administration, RegistryListsByProcessAndOrb) {
  m_root->add("A", true, true, "orb");
  m_root->add("B", true, true, "other");
  EXPECT_THAT(paths(m_registry->list_in_process("p")), ElementsAre("A"));
  EXPECT_THAT(paths(m_registry->list_in_process("idle")), IsEmpty());
  EXPECT_THAT(paths(m_registry->list_in_process("unknown")), IsEmpty());
  EXPECT_THAT(paths(m_registry->list_in_orb_name("other")), ElementsAre("B"));
  EXPECT_THAT(paths(m_registry->list_in_orb_name("unknown")), IsEmpty());
}

TEST_F(Administration, ObserversAreNotSupported) {
  expect_raised<CORBA::NO_IMPLEMENT>(0x515A0C01,
                                     [&] { m_registry->register_observer(QZ_POAIMRAdmin::Observer::_nil()); });
  expect_raised<CORBA::NO_IMPLEMENT>(0x515A0C02, [&] { m_registry->unregister_observer(1); });
}

TEST_F(Administration, NothingIsServedAfterTheEnd) {
  const QZ_POAIMRAdmin::POA_var a = m_root->add("A", false, true, "");
  core().m_poa_imr.reset();
  EXPECT_THROW(a->persistent(), CORBA::SystemException);
  EXPECT_THROW(m_registry->root_namespace(), CORBA::SystemException);
}

TEST_F(Administration, RequestsUnderWayEndBeforeTheServantsGo) {
  std::atomic<int> served{0};
  std::vector<std::thread> clients;
  for (int i = 0; i < 4; ++i) {
    clients.emplace_back([this, &served, i] {
      try {
        const QZ_POAIMRAdmin::POA_var mine = m_root->add(("C" + std::to_string(i)).c_str(), false, true, "");
        for (;; ++served) delete (i % 2 == 0 ? m_root : mine)->children();
      } catch (const CORBA::SystemException&) {
      }
    });
  }
  while (served < 20) std::this_thread::yield();
  core().m_poa_imr.reset();
  for (std::thread& client : clients) client.join();
}

TEST_F(Administration, ReferencesHoldAcrossARestart) {
  const QZ_POAIMRAdmin::POA_var before = m_root->add("A", true, true, "orb");
  const CORBA::String_var text = orb()->object_to_string(before);
  stop();
  start();
  const CORBA::Object_var object = orb()->string_to_object(text);
  const QZ_POAIMRAdmin::POA_var after = QZ_POAIMRAdmin::POA::_narrow(object);
  EXPECT_STREQ(CORBA::String_var(after->orb_name()), "orb");
}

// What the skeletons dispatch, seen from a client that builds its requests by hand.
class Dispatch : public Administration {
 protected:
  static CORBA::Boolean raises_bad_operation(CORBA::Object_ptr object, const char* operation) {
    CORBA::Request_var request = object->_request(operation);
    request->set_return_type(CORBA::_tc_void);
    request->invoke();
    return dynamic_cast<CORBA::BAD_OPERATION*>(request->env()->exception()) != nullptr;
  }
};

TEST_F(Dispatch, UnknownOperationsAreNotDispatched) {
  EXPECT_TRUE(raises_bad_operation(m_root, "_get_children"));
  EXPECT_TRUE(raises_bad_operation(m_root, "_set_name"));
  EXPECT_TRUE(raises_bad_operation(m_root, "_set_id"));
  EXPECT_TRUE(raises_bad_operation(m_root, "_set_full_name"));
  EXPECT_TRUE(raises_bad_operation(m_root, "_set_persistent"));
  EXPECT_TRUE(raises_bad_operation(m_root, "no_such"));
  EXPECT_TRUE(raises_bad_operation(m_registry, "_set_root_namespace"));
  EXPECT_FALSE(raises_bad_operation(m_root, "_get_name"));
}

TEST_F(Dispatch, StandardOperationsAreAnswered) {
  EXPECT_TRUE(m_root->_is_a("IDL:QZ_POAIMRAdmin/POA:1.0"));
  EXPECT_FALSE(m_root->_is_a("IDL:QZ_POAIMRAdmin/POARegistry:1.0"));
  EXPECT_FALSE(m_root->_non_existent());
}

}  // namespace
