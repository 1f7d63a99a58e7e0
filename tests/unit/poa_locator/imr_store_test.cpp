#include <gmock/gmock.h>

#include "platform/pss/statement.h"
#include "poa_locator/idl/home_configuration.h"
#include "poa_locator/idl/poa_imr_store.h"
#include "poa_locator/idl/poa_locator_store.h"
#include "tests/unit/poa_locator/plugin_fixture.h"

namespace {

using QZ_PoaImrStore::NamespaceData;
using QZ_PoaImrStore::NamespaceDataRef;
using QZ_PoaImrStore::NamespaceHome;
using QZ_PoaLocatorStore::ActiveEndpointData;
using QZ_PoaLocatorStore::ActiveEndpointDataRef;
using QZ_PoaLocatorStore::ActiveEndpointHome;
using QZ_PoaLocatorStore::PoaActiveOrbData;
using QZ_PoaLocatorStore::PoaActiveOrbDataRef;
using QZ_PoaLocatorStore::PoaActiveOrbHome;
using testing::ElementsAre;

std::vector<std::string> member_names(const QZ_PSS::StorageType& type) {
  std::vector<std::string> names;
  for (const QZ_PSS::Member& member : type.members()) names.emplace_back(member.name);
  return names;
}

TEST(StorageTypes, NamespaceDataHasItsMembersInOrder) {
  const auto& type = NamespaceData::storage_type();
  EXPECT_EQ(type.repository_id(), "PSDL:QZ_PoaImrStore/NamespaceData:1.0");
  EXPECT_EQ(type.local_name(), "NamespaceData");
  EXPECT_THAT(member_names(type), ElementsAre("ep_id", "name", "parent", "children", "allow_dynamic_registration",
                                              "persistent", "creation_seq_nbr", "orb"));
  EXPECT_EQ(type.key_index(), 0u);
  EXPECT_EQ(type.members()[4].kind, QZ_PSS::Kind::ulong);
}

TEST(StorageTypes, ActiveOrbDataExtendsTheHostsRecord) {
  const auto& type = PoaActiveOrbData::storage_type();
  EXPECT_EQ(type.repository_id(), "PSDL:QZ_PoaLocatorStore/PoaActiveOrbData:1.0");
  EXPECT_EQ(type.local_name(), "PoaActiveOrbData");
  EXPECT_TRUE(type.is_a(QZ_LocatorStore::ActiveOrbData::storage_type().repository_id()));
  const auto names = member_names(type);
  ASSERT_GE(names.size(), 2u);
  EXPECT_EQ(names[names.size() - 2], "endpoints");
  EXPECT_EQ(names[names.size() - 1], "endpoint_activator");
}

TEST(StorageTypes, ActiveEndpointDataHasItsMembersInOrder) {
  const auto& type = ActiveEndpointData::storage_type();
  EXPECT_EQ(type.repository_id(), "PSDL:QZ_PoaLocatorStore/ActiveEndpointData:1.0");
  EXPECT_EQ(type.local_name(), "ActiveEndpointData");
  EXPECT_THAT(member_names(type), ElementsAre("id", "orb", "remote_endpoint", "proto_direct_ior"));
  EXPECT_EQ(type.key_index(), 0u);
}

TEST(StorageTypes, EndpointIdListHasItsOwnRepositoryId) {
  EXPECT_STREQ(QZ_PoaLocatorStore::_tc_EndpointIdList->id(), "IDL:QZ_PoaLocatorStore/EndpointIdList:1.0");
  EXPECT_STREQ(QZ_PoaLocatorStore::_tc_EndpointIdList->name(), "EndpointIdList");
}

TEST(StorageTypes, EndpointIdListTravelsInAnAny) {
  QZ_PoaLocatorStore::EndpointIdList list;
  list.length(2);
  list[0] = octet_seq("first");
  list[1] = octet_seq("");
  CORBA::Any any;
  any <<= list;
  const QZ_PoaLocatorStore::EndpointIdList* read = nullptr;
  ASSERT_TRUE(any >>= read);
  ASSERT_EQ(read->length(), 2u);
  EXPECT_EQ(octets((*read)[0]), "first");
  EXPECT_EQ(octets((*read)[1]), "");
}

TEST(HomeQuery, NamesTheHome) {
  EXPECT_EQ(home_query(NamespaceHome::DEFAULT_TYPE_ID),
            "select ref(h) from PSDL:QZ_PoaImrStoreImpl/NamespaceHomeImpl:1.0 h");
}

// Homes of their own in a store of their own.
class PluginHomes : public PluginFixture {
 protected:
  PluginHomes() { start_host(); }

  // work(home) in a transaction.
  template <class Home, class Work>
  void with(Work&& work) {
    QZ_PSS::register_home<Home>(session_manager(), Home::DEFAULT_TYPE_ID);
    QZ_PSS::in_transaction(transactions(), session_manager(), [&](QZ_PSS::TxSessionAssociation& association) {
      auto* home = Home::_narrow(association.find_storage_home(Home::DEFAULT_TYPE_ID));
      ASSERT_NE(home, nullptr);
      work(*home, association);
    });
  }
};

TEST_F(PluginHomes, DefaultTypeIds) {
  EXPECT_STREQ(NamespaceHome::DEFAULT_TYPE_ID, "PSDL:QZ_PoaImrStoreImpl/NamespaceHomeImpl:1.0");
  EXPECT_STREQ(ActiveEndpointHome::DEFAULT_TYPE_ID, "PSDL:QZ_PoaLocatorStoreImpl/ActiveEndpointHomeImpl:1.0");
  EXPECT_STREQ(PoaActiveOrbHome::DEFAULT_TYPE_ID, "PSDL:QZ_PoaLocatorStoreImpl/PoaActiveOrbHomeImpl:1.0");
}

TEST_F(PluginHomes, NamespaceRecordsKeepWhatTheyAreCreatedWith) {
  with<NamespaceHome>([](NamespaceHome& home, auto&) {
    const auto parent = home.create_transient(octet_seq("p"), "P", {}, true);
    home.create_persistent(octet_seq("c"), "C", parent, false, "orb");
  });
  with<NamespaceHome>([](NamespaceHome& home, auto&) {
    const auto parent = home.find_by_ep_id(octet_seq("p"));
    EXPECT_EQ(parent->name(), "P");
    EXPECT_TRUE(parent->parent().is_nil());
    EXPECT_TRUE(parent->allow_dynamic_registration());
    EXPECT_FALSE(parent->persistent());
    EXPECT_EQ(parent->orb(), "");
    const auto child = home.find_by_ep_id(octet_seq("c"));
    EXPECT_EQ(octets(child->parent()->ep_id()), "p");
    EXPECT_FALSE(child->allow_dynamic_registration());
    EXPECT_TRUE(child->persistent());
    EXPECT_EQ(child->creation_seq_nbr(), 0u);
    EXPECT_EQ(child->orb(), "orb");
    EXPECT_EQ(child->children().length(), 0u);
  });
}

TEST_F(PluginHomes, MissingKeysAreNotFound) {
  with<NamespaceHome>([](NamespaceHome& home, auto&) {
    EXPECT_THROW(home.find_by_ep_id(octet_seq("none")), CosPersistentState::NotFound);
    EXPECT_TRUE(home.find_if_any(octet_seq("none")).is_nil());
  });
  with<ActiveEndpointHome>([](ActiveEndpointHome& home, auto&) {
    EXPECT_THROW(home.find_by_id(octet_seq("none")), CosPersistentState::NotFound);
  });
  with<PoaActiveOrbHome>(
      [](PoaActiveOrbHome& home, auto&) { EXPECT_THROW(home.find_by_name("none"), CosPersistentState::NotFound); });
}

TEST_F(PluginHomes, ActiveOrbsAreFoundThroughTheHostsKeyAndKeepTheirEndpoints) {
  with<PoaActiveOrbHome>([](PoaActiveOrbHome& home, auto&) {
    QZ_PoaLocatorStore::EndpointIdList endpoints;
    endpoints.length(1);
    endpoints[0] = octet_seq("a");
    home.create("orb", "process", endpoints, QZ_POA_PersistentServer::EndpointActivator::_nil());
  });
  with<PoaActiveOrbHome>([](PoaActiveOrbHome& home, auto&) {
    const QZ_LocatorStore::ActiveOrbDataRef base = home.find_by_name("orb");
    EXPECT_EQ(base->process_name(), "process");
    const auto data = PoaActiveOrbDataRef::narrow(base);
    ASSERT_FALSE(data.is_nil());
    data->append_endpoint(octet_seq("b"));
    EXPECT_TRUE(data->remove_endpoint(octet_seq("a")));
    EXPECT_FALSE(data->remove_endpoint(octet_seq("a")));
    const auto endpoints = data->endpoints();
    ASSERT_EQ(endpoints.length(), 1u);
    EXPECT_EQ(octets(endpoints[0]), "b");
    EXPECT_TRUE(CORBA::is_nil(QZ_POA_PersistentServer::EndpointActivator_var(data->endpoint_activator())));
  });
}

TEST_F(PluginHomes, ReferencesOfServersComeBackAsTheyWereStored) {
  const char* const url = "corbaloc::127.0.0.1:1/state";
  const CORBA::Object_var object = orb()->string_to_object(url);
  with<ActiveEndpointHome>([&](ActiveEndpointHome& home, auto&) {
    const auto data = home.create(octet_seq("id"), "orb", QZ_POA_PersistentServer::EndpointDynamicState::_nil(),
                                  CORBA::Object::_nil());
    EXPECT_TRUE(data->remote_endpoint().is_nil());
    const auto state = QZ_POA_PersistentServer::EndpointDynamicState_var(
        QZ_POA_PersistentServer::EndpointDynamicState::_unchecked_narrow(object));
    data->remote_endpoint(state);
    data->proto_direct_ior(object);
  });
  with<ActiveEndpointHome>([&](ActiveEndpointHome& home, QZ_PSS::TxSessionAssociation& association) {
    QZ_PSS::Statement statement(association.session());
    const auto rows = statement.execute(home_query(ActiveEndpointHome::DEFAULT_TYPE_ID));
    ASSERT_TRUE(rows->next());
    const CORBA::Any_var row = rows->value(1);
    const auto data = ActiveEndpointDataRef::from_any(row.in(), association);
    EXPECT_EQ(octets(data->id()), "id");
    EXPECT_EQ(data->orb(), "orb");
    const CORBA::Object_var state = data->remote_endpoint().object();
    EXPECT_TRUE(state->_is_equivalent(object));
    const CORBA::Object_var ior = data->proto_direct_ior().object();
    EXPECT_TRUE(ior->_is_equivalent(object));
    EXPECT_FALSE(rows->next());
    EXPECT_EQ(octets(home.find_by_id(octet_seq("id"))->id()), "id");
  });
}

}  // namespace
