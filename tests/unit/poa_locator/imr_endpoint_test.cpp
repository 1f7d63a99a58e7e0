#include <gmock/gmock.h>

#include <future>

#include "poa_locator/plugin/poa_loc_event_msg.h"
#include "tests/unit/poa_locator/imr_store_fault.h"
#include "tests/unit/poa_locator/plugin_fixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class Entries : public PluginFixture {
 protected:
  Entries() { start(); }

  Endpoint root() { return registry().root(); }
  std::vector<std::string> child_names(const Endpoint& entry) {
    std::vector<std::string> names;
    for (const Endpoint& child : entry.children()) names.push_back(child.name());
    return names;
  }
  std::vector<std::string> stored_child_ids(const Endpoint& entry) {
    QZ_PSS::TxSessionAssociation association(session_manager(), QZ_PSS::READ_ONLY);
    const auto ids = entry.impl_persistent_data(association)->children();
    std::vector<std::string> result;
    for (CORBA::ULong i = 0; i < ids.length(); ++i) result.push_back(octets(ids[i]));
    return result;
  }
};

TEST_F(Entries, NullHandlesAnswerNilOrRaise) {
  Endpoint none;
  EXPECT_TRUE(none.is_null());
  EXPECT_TRUE(CORBA::is_nil(QZ_POAIMRAdmin::POA_var(none.external_reference())));
  EXPECT_TRUE(none.lookup("A").is_null());
  EXPECT_THROW(none.id(), CORBA::OBJECT_NOT_EXIST);
  EXPECT_THROW(none.name(), CORBA::OBJECT_NOT_EXIST);
  EXPECT_THROW(none.orb_name("x"), CORBA::OBJECT_NOT_EXIST);
  EXPECT_THROW(none.children(), CORBA::OBJECT_NOT_EXIST);
  EXPECT_THROW(none.add("A", false, true, ""), CORBA::OBJECT_NOT_EXIST);
  EXPECT_THROW(none.destroy(), CORBA::OBJECT_NOT_EXIST);
  EXPECT_THROW(registry().remove(none), CORBA::OBJECT_NOT_EXIST);
}

TEST_F(Entries, CopiesShareTheBody) {
  const Endpoint first = root();
  const Endpoint copy = first;
  EXPECT_EQ(&copy.id(), &first.id());
}

TEST_F(Entries, HandleCopiesTheIdentifier) {
  CORBA::OctetSeq id = *id_of({"A"});
  const Endpoint endpoint(registry(), id);
  id[0] = 0xFF;
  EXPECT_EQ(octets(endpoint.id()), octets(*id_of({"A"})));
}

TEST_F(Entries, FullNameOfTheRootIsEmpty) {
  const QZ_POAIMRAdmin::FullyQualifiedName_var name = root().full_name();
  EXPECT_THAT(texts(name), IsEmpty());
}

TEST_F(Entries, RootIsTransientAndAllowsDynamicRegistration) {
  EXPECT_EQ(root().name(), "");
  EXPECT_FALSE(root().persistent());
  EXPECT_TRUE(root().allow_dynamic_registration());
  EXPECT_EQ(root().orb_name(), "");
}

TEST_F(Entries, AddKeepsWhatItIsGiven) {
  const Endpoint a = root().add("A", true, false, "orb");
  const Endpoint b = a.add("B", false, true, "");
  EXPECT_EQ(octets(a.id()), octets(*id_of({"A"})));
  EXPECT_EQ(a.name(), "A");
  EXPECT_TRUE(a.persistent());
  EXPECT_FALSE(a.allow_dynamic_registration());
  EXPECT_EQ(a.orb_name(), "orb");
  EXPECT_EQ(a.creation_seq_nbr(), 0u);
  const QZ_POAIMRAdmin::FullyQualifiedName_var full_name = b.full_name();
  EXPECT_THAT(texts(full_name), ElementsAre("A", "B"));
  EXPECT_FALSE(b.persistent());
  EXPECT_TRUE(b.allow_dynamic_registration());
  EXPECT_EQ(octets(b.parent().id()), octets(a.id()));
}

TEST_F(Entries, AddOfATransientEntryIsReported) {
  root().add("A", false, true, "").add("B", false, true, "");
  const auto events = log().events(POALocEvent::NAMESPACE_CREATE);
  ASSERT_EQ(events.size(), 2u);
  EXPECT_EQ(events[1].priority, 1u);
  EXPECT_EQ(events[1].message, "transient POA entry added to the IMR. POA Name: A/B");
  EXPECT_THAT(events[1].parameters, ElementsAre("A/B"));
}

TEST_F(Entries, AddOfAPersistentEntryIsReportedWithItsOrb) {
  root().add("A", true, true, "orb");
  const auto events = log().events(POALocEvent::ENDPOINT_CREATE);
  ASSERT_EQ(events.size(), 1u);
  EXPECT_EQ(events[0].priority, 1u);
  EXPECT_EQ(events[0].message, "persistent POA entry added to the IMR. POA Name: A, ORB name: orb");
  EXPECT_THAT(events[0].parameters, ElementsAre("A", "orb"));
}

TEST_F(Entries, ChildrenComeInTheOrderInWhichTheyWereAdded) {
  const Endpoint a = root().add("A", false, true, "");
  EXPECT_THAT(a.children(), IsEmpty());
  a.add("Z", false, true, "");
  a.add("B", true, true, "orb");
  a.add("M", false, true, "");
  EXPECT_THAT(child_names(a), ElementsAre("Z", "B", "M"));
}

TEST_F(Entries, AddOfAnExistingNameIsRefusedAndWritesNothing) {
  root().add("A", true, true, "orb");
  const auto before = stored_child_ids(root());
  log().clear();
  try {
    root().add("A", false, false, "other");
    FAIL() << "no exception";
  } catch (const QZ_POAIMRAdmin::POAAlreadyRegistered& refusal) {
    EXPECT_THAT(texts(refusal.name), ElementsAre("A"));
  }
  EXPECT_EQ(stored_child_ids(root()), before);
  EXPECT_EQ(root().lookup("A").orb_name(), "orb");
  EXPECT_THAT(log().events(), IsEmpty());
}

TEST_F(Entries, LookupFindsOnlyDirectChildren) {
  root().add("A", false, true, "").add("B", false, true, "");
  EXPECT_EQ(octets(root().lookup("A").id()), octets(*id_of({"A"})));
  EXPECT_TRUE(root().lookup("B").is_null());
  EXPECT_TRUE(root().lookup("a").is_null());
}

TEST_F(Entries, AttributesAreWritten) {
  Endpoint a = root().add("A", true, true, "orb");
  a.allow_dynamic_registration(false);
  a.orb_name("other");
  a.creation_seq_nbr(4'000'000'000);
  EXPECT_FALSE(a.allow_dynamic_registration());
  EXPECT_EQ(a.orb_name(), "other");
  EXPECT_EQ(a.creation_seq_nbr(), 4'000'000'000);
  a.orb_name(nullptr);
  EXPECT_EQ(a.orb_name(), "");
}

TEST_F(Entries, RootHasNoParent) {
  try {
    root().parent();
    FAIL() << "no exception";
  } catch (const CORBA::OBJECT_NOT_EXIST& ex) {
    EXPECT_EQ(ex.minor(), 0x515A0C00u);
    EXPECT_EQ(ex.completed(), CORBA::COMPLETED_NO);
  }
}

TEST_F(Entries, DestroyedEntriesDoNotExist) {
  Endpoint a = root().add("A", true, true, "orb");
  Endpoint(a).destroy();
  EXPECT_THROW(a.name(), CORBA::OBJECT_NOT_EXIST);
  EXPECT_THROW(a.persistent(), CORBA::OBJECT_NOT_EXIST);
  EXPECT_THROW(a.allow_dynamic_registration(), CORBA::OBJECT_NOT_EXIST);
  EXPECT_THROW(a.allow_dynamic_registration(true), CORBA::OBJECT_NOT_EXIST);
  EXPECT_THROW(a.orb_name(), CORBA::OBJECT_NOT_EXIST);
  EXPECT_THROW(a.orb_name("x"), CORBA::OBJECT_NOT_EXIST);
  EXPECT_THROW(a.creation_seq_nbr(), CORBA::OBJECT_NOT_EXIST);
  EXPECT_THROW(a.creation_seq_nbr(1), CORBA::OBJECT_NOT_EXIST);
  EXPECT_THROW(a.parent(), CORBA::OBJECT_NOT_EXIST);
  EXPECT_THROW(a.children(), CORBA::OBJECT_NOT_EXIST);
  EXPECT_THROW(a.destroy(), CORBA::OBJECT_NOT_EXIST);
  EXPECT_TRUE(a.lookup("B").is_null());
  EXPECT_EQ(octets(a.id()), octets(*id_of({"A"})));
}

TEST_F(Entries, DestroyRemovesTheSubtreeDeepestFirst) {
  Endpoint a = root().add("A", false, true, "");
  root().add("Sibling", false, true, "");
  const Endpoint b = a.add("B", true, true, "orb");
  b.add("C", false, true, "");
  a.add("D", true, true, "other");
  log().clear();

  a.destroy();

  std::vector<std::string> removed;
  for (const support::Event& event : log().events()) removed.push_back(event.parameters[0]);
  EXPECT_THAT(removed, ElementsAre("A/B/C", "A/B", "A/D", "A"));
  const auto persistent = log().events(POALocEvent::ENDPOINT_REMOVE);
  ASSERT_EQ(persistent.size(), 2u);
  EXPECT_EQ(persistent[0].priority, 1u);
  EXPECT_EQ(persistent[0].message, "persistent POA entry removed from the IMR. POA Name: A/B, ORB name: orb");
  EXPECT_THAT(persistent[0].parameters, ElementsAre("A/B", "orb"));
  const auto transient = log().events(POALocEvent::NAMESPACE_REMOVE);
  ASSERT_EQ(transient.size(), 2u);
  EXPECT_EQ(transient[0].priority, 1u);
  EXPECT_EQ(transient[0].message, "transient POA entry removed from the IMR. POA Name: A/B/C");

  for (const auto& name : std::vector<std::vector<std::string>>{{"A"}, {"A", "B"}, {"A", "B", "C"}, {"A", "D"}}) {
    EXPECT_TRUE(registry().find(*fqpn_of(name)).is_null());
  }
  EXPECT_THAT(stored_child_ids(root()), ElementsAre(octets(*id_of({"Sibling"}))));
}

TEST_F(Entries, DeepTreesAreDestroyedWithoutRecursion) {
  Endpoint top = root().add("0", false, true, "");
  {
    QZ_PSS::TransactionGuard guard(transactions());
    Endpoint entry = top;
    for (int i = 0; i < 600; ++i) entry = entry.add("x", false, true, "");
    guard.commit();
  }
  top.destroy();
  EXPECT_THAT(root().children(), IsEmpty());
}

TEST_F(Entries, WritesInACallersTransactionAreTheCallersToCommit) {
  Endpoint a = root().add("A", true, true, "orb");
  const auto seen_by_others = [this] {
    return std::async(std::launch::async,
                      [this] {
                        const Endpoint entry = registry().find(*fqpn_of({"A"}));
                        return entry.orb_name() + (registry().root().lookup("B").is_null() ? "" : " and B");
                      })
        .get();
  };
  {
    QZ_PSS::TransactionGuard guard(transactions());
    a.orb_name("other");
    root().add("B", false, true, "");
    EXPECT_EQ(a.orb_name(), "other");
    EXPECT_FALSE(root().lookup("B").is_null());
    EXPECT_EQ(seen_by_others(), "orb");
    guard.commit();
  }
  EXPECT_EQ(seen_by_others(), "other and B");
}

TEST_F(Entries, WritesGoWithACallersTransactionThatIsRolledBack) {
  Endpoint a = root().add("A", true, true, "orb");
  {
    QZ_PSS::TransactionGuard guard(transactions());
    a.orb_name("other");
    root().add("B", false, true, "");
  }
  EXPECT_EQ(a.orb_name(), "orb");
  EXPECT_TRUE(root().lookup("B").is_null());
  EXPECT_EQ(child_names(root()), std::vector<std::string>{"A"});
}

TEST_F(Entries, RefusalLeavesTheCallersTransactionAlone) {
  root().add("A", false, true, "");
  QZ_PSS::TransactionGuard guard(transactions());
  root().add("B", false, true, "");
  EXPECT_THROW(root().add("A", false, true, ""), QZ_POAIMRAdmin::POAAlreadyRegistered);
  EXPECT_EQ(transactions()->get_status(), CosTransactions::StatusActive);
  guard.commit();
  EXPECT_FALSE(root().lookup("B").is_null());
}

TEST_F(Entries, AddReportsAStoreThatFailsAndRaisesInternal) {
  const Endpoint parent = root();
  log().clear();
  {
    StoreFault fault(store_file());
    try {
      parent.add("A", false, true, "");
      ADD_FAILURE() << "no exception";
    } catch (const CORBA::INTERNAL& ex) {
      EXPECT_EQ(ex.minor(), 0x515A0C00u);
      EXPECT_EQ(ex.completed(), CORBA::COMPLETED_NO);
    }
  }
  const auto events = log().events(POALocEvent::ENDPOINT_ADD_INTERNAL);
  ASSERT_EQ(events.size(), 1u);
  EXPECT_EQ(events[0].priority, 32u);
  EXPECT_EQ(events[0].message,
            "Caught an unexpected exception when trying to add a POA IMR entry to the database. POA Name: A");
  EXPECT_THAT(events[0].parameters, ElementsAre("A"));
  EXPECT_EQ(transactions()->get_status(), CosTransactions::StatusNoTransaction);
  EXPECT_TRUE(parent.lookup("A").is_null());
  EXPECT_NO_THROW(parent.add("A", false, true, ""));
}

TEST_F(Entries, AddBelowAnEntryThatHasGoneRaisesInternal) {
  Endpoint a = root().add("A", false, true, "");
  Endpoint(a).destroy();
  log().clear();
  EXPECT_THROW(a.add("B", false, true, ""), CORBA::INTERNAL);
  const auto events = log().events(POALocEvent::ENDPOINT_ADD_INTERNAL);
  ASSERT_EQ(events.size(), 1u);
  EXPECT_THAT(events[0].parameters, ElementsAre("A/B"));
}

TEST_F(Entries, OtherWritesPassStoreFailuresOnAndRollBack) {
  Endpoint a = root().add("A", true, true, "orb");
  {
    StoreFault fault(store_file());
    EXPECT_THROW(a.orb_name("other"), CORBA::SystemException);
    EXPECT_THROW(a.destroy(), CORBA::SystemException);
    EXPECT_EQ(transactions()->get_status(), CosTransactions::StatusNoTransaction);
  }
  EXPECT_EQ(a.orb_name(), "orb");
}

TEST_F(Entries, EntriesSurviveARestart) {
  root().add("A", true, false, "orb").add("B", false, true, "");
  stop();
  start();
  const Endpoint a = registry().find(*fqpn_of({"A"}));
  ASSERT_FALSE(a.is_null());
  EXPECT_EQ(a.orb_name(), "orb");
  EXPECT_EQ(child_names(a), std::vector<std::string>{"B"});
}

TEST_F(Entries, ExternalReferenceIsOfTheAdministrationInterface) {
  const QZ_POAIMRAdmin::POA_var reference = root().add("A", true, true, "orb").external_reference();
  ASSERT_FALSE(CORBA::is_nil(reference));
  EXPECT_TRUE(reference->_is_a("IDL:QZ_POAIMRAdmin/POA:1.0"));
  const QZ_POAIMRAdmin::POAId_var id = reference->id();
  EXPECT_EQ(octets(id), octets(*id_of({"A"})));
}

}  // namespace
