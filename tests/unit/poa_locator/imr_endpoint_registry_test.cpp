#include <gmock/gmock.h>

#include <soci/soci.h>
#include <soci/sqlite3/soci-sqlite3.h>

#include <thread>

#include "platform/pss/statement.h"
#include "poa_locator/idl/home_configuration.h"
#include "poa_locator/idl/poa_locator_store.h"
#include "poa_locator/plugin/poa_loc_event_msg.h"
#include "tests/unit/poa_locator/imr_store_fault.h"
#include "tests/unit/poa_locator/plugin_fixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Refusals = QZ_POA_PersistentServer::EndpointRegistry;
using Names = std::vector<std::string>;

class RegistryStart : public PluginFixture {};

class Registry : public PluginFixture {
 protected:
  Registry() {
    configure_process("p", {"first", "second"});
    configure_process("idle");
    config().add_orb("elsewhere", "");
    start();
  }

  Endpoint root() { return registry().root(); }
  Endpoint entry(const Names& name) { return registry().find(*fqpn_of(name)); }
  static Names paths(const QZ_Vector<Endpoint>& entries) {
    Names result;
    for (const Endpoint& endpoint : entries) {
      const QZ_POAIMRAdmin::FullyQualifiedName_var name = endpoint.full_name();
      result.push_back(EndpointIdUtils::fqpn_to_string(name, '/'));
    }
    return result;
  }
  bool has_orb(const char* name) { return !CORBA::is_nil(QZ_IMRInternal::ORB_var(host().imr().orbs().find(name))); }
  Names all_records() {
    Names result;
    QZ_PSS::TxSessionAssociation association(session_manager(), QZ_PSS::READ_ONLY);
    QZ_PSS::Statement statement(association.session());
    const auto rows = statement.execute(home_query(registry().home_type_id()));
    while (rows->next()) {
      const CORBA::Any_var row = rows->value(1);
      const auto data = QZ_PoaImrStore::NamespaceDataRef::from_any(row.in(), association);
      const QZ_POAIMRAdmin::FullyQualifiedName_var name = EndpointIdUtils::id_to_fqpn(data->ep_id());
      result.push_back(EndpointIdUtils::fqpn_to_string(name, '/'));
    }
    return result;
  }
};

TEST_F(Registry, AnEmptyStoreStartsWithTheTransientRootAlone) {
  EXPECT_THAT(all_records(), ElementsAre(""));
  EXPECT_EQ(root().name(), "");
  EXPECT_FALSE(root().persistent());
  EXPECT_TRUE(root().allow_dynamic_registration());
  EXPECT_EQ(octets(root().id()), octets(*id_of({})));
}

TEST_F(Registry, ARestartKeepsTheOneRoot) {
  root().allow_dynamic_registration(false);
  stop();
  start();
  EXPECT_THAT(all_records(), ElementsAre(""));
  EXPECT_FALSE(root().allow_dynamic_registration());
}

TEST_F(Registry, UsesTheDefaultHome) {
  EXPECT_EQ(registry().home_type_id(), "PSDL:QZ_PoaImrStoreImpl/NamespaceHomeImpl:1.0");
}

TEST_F(RegistryStart, UsesTheConfiguredHome) {
  config().set_text("plugins.locator", "namespace_home_type_id", "PSDL:Other/NamespaceHomeImpl:1.0");
  start();
  EXPECT_EQ(registry().home_type_id(), "PSDL:Other/NamespaceHomeImpl:1.0");
  registry().root().add("A", false, true, "");
  EXPECT_FALSE(registry().find(*fqpn_of({"A"})).is_null());
}

TEST_F(RegistryStart, RefusesAHomeOfAnotherType) {
  const char* const type_id = "PSDL:Other/ActiveEndpointHomeImpl:1.0";
  config().set_text("plugins.locator", "namespace_home_type_id", type_id);
  start_host();
  QZ_PSS::register_home<QZ_PoaLocatorStore::ActiveEndpointHome>(session_manager(), type_id);
  try {
    start_core();
    FAIL() << "no exception";
  } catch (const CORBA::INTERNAL& ex) {
    EXPECT_EQ(ex.minor(), 0x515A0C00u);
    EXPECT_EQ(ex.completed(), CORBA::COMPLETED_NO);
  }
}

TEST_F(RegistryStart, StoreThatRefusesTheRootFailsTheStartAndLeavesNoTransaction) {
  start();  // makes the tables
  stop();
  {
    soci::session session(soci::sqlite3, store_file());
    std::string table;
    session << "select name from sqlite_master where type = 'table' and sql like '%allow_dynamic_registration%'",
        soci::into(table);
    ASSERT_FALSE(table.empty());
    session << "delete from \"" + table + "\"";
  }
  {
    start_host();
    StoreFault fault(store_file());
    EXPECT_THROW(start_core(), CORBA::SystemException);
    EXPECT_EQ(transactions()->get_status(), CosTransactions::StatusNoTransaction);
  }
  start_core();
  EXPECT_FALSE(registry().root().is_null());
}

TEST_F(Registry, FindsByIdentifierAndByName) {
  root().add("A", false, true, "").add("B", true, true, "orb");
  EXPECT_EQ(octets(entry({"A", "B"}).id()), octets(*id_of({"A", "B"})));
  EXPECT_EQ(registry().find(*id_of({"A", "B"})).orb_name(), "orb");
}

TEST_F(Registry, UnknownIdentifiersGiveNullHandles) {
  EXPECT_TRUE(entry({"A"}).is_null());
  EXPECT_TRUE(registry().find(CORBA::OctetSeq()).is_null());
  EXPECT_TRUE(registry().find(octet_seq("no identifier at all")).is_null());
}

TEST_F(Registry, RemoveTakesTheSubtree) {
  Endpoint a = root().add("A", false, true, "");
  a.add("B", false, true, "");
  registry().remove(a);
  EXPECT_THAT(all_records(), ElementsAre(""));
  EXPECT_THAT(root().children(), IsEmpty());
}

TEST_F(Registry, RemovalOfTheRootLeavesAnEmptyRoot) {
  Endpoint old_root = root();
  old_root.allow_dynamic_registration(false);
  old_root.add("A", false, true, "");
  registry().remove(old_root);
  EXPECT_THAT(all_records(), ElementsAre(""));
  EXPECT_TRUE(root().allow_dynamic_registration());
  EXPECT_FALSE(registry().on_demand_create(*id_of({"A"}), "orb").is_null());
}

TEST_F(Registry, ListsTheEntriesOfAnOrbInTheStoresOrder) {
  root().add("Z", true, true, "orb");
  root().add("A", true, true, "orb").add("Other", true, true, "Orb");
  root().add("None", false, true, "");
  EXPECT_THAT(paths(registry().list_in_orb("orb")), ElementsAre("Z", "A"));
  EXPECT_THAT(paths(registry().list_in_orb("Orb")), ElementsAre("A/Other"));
  EXPECT_THAT(registry().list_in_orb("or"), IsEmpty());
}

TEST_F(Registry, ListsTheEntriesOfAllOrbsOfAProcess) {
  root().add("A", true, true, "second");
  root().add("B", true, true, "elsewhere");
  root().add("C", true, true, "first");
  root().add("D", true, true, "");
  EXPECT_THAT(paths(registry().list_in_process("p")), ElementsAre("A", "C"));
  EXPECT_THAT(registry().list_in_process("idle"), IsEmpty());
  EXPECT_THAT(registry().list_in_process("unknown"), IsEmpty());
}

TEST_F(Registry, OnDemandCreatesAPersistentEntryThatAllowsMore) {
  const Endpoint a = registry().on_demand_create(*id_of({"A"}), "orb");
  EXPECT_EQ(octets(a.id()), octets(*id_of({"A"})));
  EXPECT_EQ(a.name(), "A");
  EXPECT_TRUE(a.persistent());
  EXPECT_TRUE(a.allow_dynamic_registration());
  EXPECT_EQ(a.orb_name(), "orb");
  EXPECT_THAT(paths(root().children()), ElementsAre("A"));
}

TEST_F(Registry, OnDemandReturnsAnExistingEntryWhateverItsParentSays) {
  Endpoint a = root().add("A", true, false, "orb");
  a.add("B", true, true, "orb");
  const Endpoint b = registry().on_demand_create(*id_of({"A", "B"}), "another");
  EXPECT_EQ(octets(b.id()), octets(*id_of({"A", "B"})));
  EXPECT_EQ(b.orb_name(), "orb");
  EXPECT_FALSE(has_orb("another"));
}

TEST_F(Registry, OnDemandOfTheRootIsTheRoot) {
  EXPECT_EQ(octets(registry().on_demand_create(*id_of({}), "orb").id()), octets(root().id()));
}

TEST_F(Registry, OnDemandNeedsTheParentsEntry) {
  try {
    registry().on_demand_create(*id_of({"A", "B"}), "orb");
    FAIL() << "no exception";
  } catch (const Refusals::EntryNotExist& refusal) {
    EXPECT_EQ(octets(refusal.id), octets(*id_of({"A"})));
  }
  EXPECT_THAT(all_records(), ElementsAre(""));
  EXPECT_FALSE(has_orb("orb"));
}

TEST_F(Registry, OnDemandNeedsTheParentsPermission) {
  root().add("A", true, false, "orb");
  try {
    registry().on_demand_create(*id_of({"A", "B"}), "orb");
    FAIL() << "no exception";
  } catch (const Refusals::DynamicRegistrationNotAllowed& refusal) {
    EXPECT_EQ(octets(refusal.id), octets(*id_of({"A", "B"})));
  }
  EXPECT_THAT(all_records(), ElementsAre("", "A"));
}

TEST_F(Registry, OnDemandBelowAPersistentParentNeedsItsOrb) {
  root().add("A", true, true, "orb");
  try {
    registry().on_demand_create(*id_of({"A", "B"}), "Orb");
    FAIL() << "no exception";
  } catch (const Refusals::InvalidOrbName& refusal) {
    EXPECT_STREQ(refusal.orb_name, "Orb");
  }
  EXPECT_FALSE(has_orb("Orb"));
  EXPECT_EQ(registry().on_demand_create(*id_of({"A", "B"}), "orb").orb_name(), "orb");
}

TEST_F(Registry, OnDemandBelowATransientParentTakesAnyOrb) {
  root().add("A", false, true, "");
  EXPECT_EQ(registry().on_demand_create(*id_of({"A", "B"}), "one").orb_name(), "one");
  EXPECT_EQ(registry().on_demand_create(*id_of({"A", "C"}), "two").orb_name(), "two");
}

TEST_F(Registry, OnDemandMakesTheOrbKnownToTheHost) {
  registry().on_demand_create(*id_of({"A"}), "first");
  registry().on_demand_create(*id_of({"B"}), "fresh");
  const QZ_IMRInternal::ORB_var fresh = host().imr().orbs().find("fresh");
  ASSERT_FALSE(CORBA::is_nil(fresh));
  EXPECT_TRUE(CORBA::is_nil(QZ_IMRInternal::Process_var(fresh->get_process())));
  const QZ_IMRInternal::ORB_var known = host().imr().orbs().find("first");
  EXPECT_FALSE(CORBA::is_nil(QZ_IMRInternal::Process_var(known->get_process())));
}

TEST_F(Registry, OnDemandRefusesAnIdentifierWithoutNames) {
  try {
    registry().on_demand_create(*id_of({""}), "orb");
    FAIL() << "no exception";
  } catch (const CORBA::BAD_PARAM& ex) {
    EXPECT_EQ(ex.minor(), 0x515A0C00u);
    EXPECT_EQ(ex.completed(), CORBA::COMPLETED_NO);
  }
  EXPECT_THAT(all_records(), ElementsAre(""));
}

TEST_F(Registry, OnDemandRefusesMalformedIdentifiers) {
  EXPECT_THROW(registry().on_demand_create(octet_seq("x"), "orb"), CORBA::INV_OBJREF);
  EXPECT_THROW(registry().on_demand_create(CORBA::OctetSeq(), "orb"), CORBA::INV_OBJREF);
  EXPECT_THAT(all_records(), ElementsAre(""));
}

TEST_F(Registry, DestructionOfAnOrbWithoutEntriesChangesNothing) {
  root().add("A", true, true, "orb");
  log().clear();
  registry().orb_destroyed("other");
  EXPECT_THAT(all_records(), ElementsAre("", "A"));
  EXPECT_THAT(log().events(), IsEmpty());
}

TEST_F(Registry, DestructionOfAnOrbTakesItsEntriesWithTheirSubtrees) {
  const Endpoint a = root().add("A", true, true, "orb");
  a.add("Mine", true, true, "orb").add("Deeper", true, true, "orb");
  a.add("Others", true, true, "other");
  root().add("N", false, true, "").add("B", true, true, "orb");
  root().add("C", true, true, "other");
  log().clear();

  registry().orb_destroyed("orb");

  EXPECT_THAT(all_records(), ElementsAre("", "N", "C"));
  EXPECT_THAT(paths(root().children()), ElementsAre("N", "C"));
  EXPECT_THAT(entry({"N"}).children(), IsEmpty());
  Names removed;
  for (const support::Event& event : log().events(POALocEvent::ENDPOINT_REMOVE)) removed.push_back(event.parameters[0]);
  EXPECT_THAT(removed, ElementsAre("A/Mine/Deeper", "A/Mine", "A/Others", "A", "N/B"));
}

TEST_F(Registry, DestructionOfAnOrbSparesTransientEntries) {
  Endpoint a = root().add("A", false, true, "");
  a.orb_name("orb");
  registry().orb_destroyed("orb");
  EXPECT_FALSE(entry({"A"}).is_null());
}

TEST_F(Registry, DestructionOfAnOrbIsOneTransaction) {
  root().add("A", true, true, "orb");
  root().add("B", true, true, "orb");
  {
    StoreFault fault(store_file());
    EXPECT_THROW(registry().orb_destroyed("orb"), CORBA::SystemException);
    EXPECT_EQ(transactions()->get_status(), CosTransactions::StatusNoTransaction);
  }
  EXPECT_THAT(all_records(), ElementsAre("", "A", "B"));
  {
    QZ_PSS::TransactionGuard guard(transactions());
    registry().orb_destroyed("orb");
    EXPECT_THAT(all_records(), ElementsAre(""));
  }
  EXPECT_THAT(all_records(), ElementsAre("", "A", "B"));
}

TEST_F(Registry, ServesManyThreadsAtOnce) {
  constexpr int THREADS = 4;
  constexpr int EACH = 20;
  std::vector<std::thread> threads;
  for (int t = 0; t < THREADS; ++t) {
    threads.emplace_back([this, t] {
      const std::string orb = "orb" + std::to_string(t);
      for (int i = 0; i < EACH; ++i) {
        Endpoint mine =
            registry().on_demand_create(*id_of({"P" + std::to_string(t) + "-" + std::to_string(i)}), orb.c_str());
        registry().on_demand_create(*id_of({"Shared" + std::to_string(i)}), "shared");
        if (i % 2 == 0) mine.destroy();
        registry().list_in_orb(orb.c_str());
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(root().children().size(), std::size_t{EACH + THREADS * EACH / 2});
  EXPECT_EQ(registry().list_in_orb("shared").size(), std::size_t{EACH});
}

}  // namespace
