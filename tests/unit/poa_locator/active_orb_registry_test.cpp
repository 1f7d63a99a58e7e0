// The registry of active ORBs.
#include <gmock/gmock.h>

#include "tests/unit/poa_locator/active_orb_test.h"
#include "tests/unit/poa_locator/broken_host.h"
#include "tests/unit/poa_locator/foreign_orb.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

TEST_F(ActiveOrbTest, ANameThatIsAnotherObjectAdaptersIsRefused) {
  start();
  const QZ_LocatorInternal::ActiveORB_var foreign = new ForeignOrb("orb");
  const QZ_LocatorInternal::ActiveORBRegistry_var table = host().locator().active_orb_registry();
  table->insert(foreign);
  EXPECT_TRUE(find_orb("orb").is_null());
  EXPECT_THAT(orbs().list(), IsEmpty());
  EXPECT_EQ(orbs().number_of_entries(), 1u);
  EXPECT_THROW(orbs().find_or_create("orb", true), CORBA::BAD_PARAM);
  EXPECT_EQ(host_entry("orb").in(), foreign.in());
  EXPECT_EQ(stored_orbs(), 0u);
  table->remove("orb");
}

TEST_F(ActiveOrbTest, AProcessRecordThatCannotBeJoinedEndsTheConstruction) {
  configure_living_process("process", {"orb"});
  start();
  add_entry(m_bank, "orb");
  const QZ_LocatorInternal::Locator_var whole = QZ_LocatorInternal::Locator::_duplicate(core().impl_locator_nc());
  core().m_locator = new BrokenHost(whole, BrokenHost::PROCESSES);
  try {
    orbs().find_or_create("orb", true);
    ADD_FAILURE() << "no exception";
  } catch (const CORBA::INTERNAL& ex) {
    EXPECT_EQ(ex.minor(), 0x515A0C04u);
    EXPECT_EQ(ex.completed(), CORBA::COMPLETED_NO);
  }
  EXPECT_EQ(send_to(m_bank)->outcome().exception, "INTERNAL");
  core().m_locator = whole;
  ASSERT_THAT(log().events(65), SizeIs(2));
  EXPECT_EQ(log().events(65)[0].priority, 32u);
  EXPECT_EQ(log().events(65)[0].parameters[0], "orb");
  EXPECT_THAT(log().events(65)[0].parameters[1], testing::HasSubstr("NO_RESOURCES"));
  EXPECT_TRUE(find_orb("orb").is_null());
  EXPECT_TRUE(find(m_bank).is_null());
  EXPECT_EQ(stored_orbs(), 0u);
}

TEST_F(ActiveOrbTest, TheRegistryListsItsOrbsInOrderAndByProcess) {
  configure_living_process("process", {"first", "second"});
  start();
  add({"A"}, "first");
  add({"B"}, "other");
  add({"C"}, "second");
  const auto names = [](const auto& list) {
    std::vector<std::string> result;
    for (const auto& orb : list) result.emplace_back(orb->impl_name());
    return result;
  };
  EXPECT_THAT(names(orbs().list()), ElementsAre("first", "other", "second"));
  EXPECT_THAT(names(orbs().list_by_process("process")), ElementsAre("first", "second"));
  EXPECT_THAT(names(orbs().list_by_process("no such process")), IsEmpty());
  EXPECT_EQ(orbs().number_of_entries(), 3u);
  EXPECT_TRUE(orbs().find("unknown").is_null());
}

TEST_F(ActiveOrbTest, TheRegistryKeepsOneRecordOfAName) {
  start();
  const auto first = orbs().find_or_create("orb", true);
  EXPECT_EQ(orbs().find_or_create("orb", false).get(), first.get());
  EXPECT_THROW(orbs().insert(first.get()), CORBA::BAD_PARAM);
  EXPECT_EQ(stored_orbs(), 1u);
  orbs().validate();
  EXPECT_FALSE(find_orb("orb").is_null());
}

TEST_F(ActiveOrbTest, AnEmptyStoreLoadsNoOrb) {
  start();
  EXPECT_EQ(orbs().number_of_entries(), 0u);
  EXPECT_THAT(log().events(39), IsEmpty());
}

TEST_F(ActiveOrbTest, UsesTheConfiguredHome) {
  config().append("\n[plugins.locator]\nactive_orb_home_type_id = \"PSDL:Other/OrbHome:1.0\"\n");
  start();
  EXPECT_STREQ(orbs().home_type_id(), "PSDL:Other/OrbHome:1.0");
  add(m_bank, "orb");
  EXPECT_EQ(stored("PSDL:Other/OrbHome:1.0"), 1u);
  stop();
  start();
  EXPECT_FALSE(find_orb("orb").is_null());
}

}  // namespace
