// Servers register and withdraw the activators of their ORBs.
#include <gmock/gmock.h>

#include "tests/unit/poa_locator/active_fixture.h"

namespace {

using QZ_POA_PersistentServer::EndpointActivator;
using QZ_POA_PersistentServer::EndpointIdList_var;
using testing::ElementsAre;
using testing::SizeIs;

class ActivatorRegistrationTest : public ActiveFixture {
 protected:
  CORBA::ULong add_activator(const char* orb_name, QZ_POA_PersistentServer::EndpointActivator_ptr activator) {
    EndpointIdList_var ids;
    activator_registry()->add(orb_name, activator, ids.out());
    return ids->length();
  }
  QZ_POA_PersistentServer::EndpointActivator_var living() {
    TestActivator* unused = nullptr;
    return make_activator(unused);
  }
  std::vector<unsigned> event_ids() {
    std::vector<unsigned> ids;
    for (const support::Event& event : log().events()) ids.push_back(event.id);
    return ids;
  }
};

TEST_F(ActivatorRegistrationTest, AnUnknownOrbNameGetsARecordWithTheActivator) {
  start();
  const auto activator = living();
  EXPECT_EQ(add_activator("orb", activator), 0u);
  ASSERT_FALSE(find_orb("orb").is_null());
  EXPECT_TRUE(activator->_is_equivalent(find_orb("orb")->impl_endpoint_activator_nc()));
  EXPECT_EQ(stored_orbs(), 1u);
  EXPECT_THAT(event_ids(), ElementsAre(10u));
  EXPECT_THAT(log().events(10)[0].parameters, ElementsAre("orb"));
  EXPECT_EQ(log().events(10)[0].priority, 1u);
}

TEST_F(ActivatorRegistrationTest, ARecordThatIsThereIsUsedAgain) {
  start();
  add({"Bank"}, "orb");
  const auto record = find_orb("orb");
  add_activator("orb", living());
  activator_registry()->remove("orb");
  EXPECT_EQ(add_activator("orb", living()), 0u);
  EXPECT_EQ(find_orb("orb").get(), record.get());
}

TEST_F(ActivatorRegistrationTest, ASecondActivatorWinsAndNobodyIsTold) {
  start();
  add_activator("orb", living());
  log().clear();
  const auto second = living();
  EXPECT_NO_THROW(add_activator("orb", second));
  EXPECT_TRUE(second->_is_equivalent(find_orb("orb")->impl_endpoint_activator_nc()));
  EXPECT_THAT(event_ids(), ElementsAre(12u, 14u, 10u));
}

TEST_F(ActivatorRegistrationTest, AServerThatCrashedAndIsBackTakesItsPlaceAgain) {
  start();
  add_activator("orb", dead_activator());
  log().clear();
  const auto second = living();
  EXPECT_NO_THROW(add_activator("orb", second));
  EXPECT_TRUE(second->_is_equivalent(find_orb("orb")->impl_endpoint_activator_nc()));
  EXPECT_THAT(event_ids(), ElementsAre(14u, 10u));
}

TEST_F(ActivatorRegistrationTest, WithdrawingReportsIt) {
  start();
  add({"Bank"}, "orb");
  add_activator("orb", living());
  log().clear();
  activator_registry()->remove("orb");
  EXPECT_THAT(event_ids(), ElementsAre(11u, 11u));
  EXPECT_TRUE(CORBA::is_nil(find_orb("orb")->impl_endpoint_activator_nc()));
}

TEST_F(ActivatorRegistrationTest, WithdrawingUnderAnUnknownOrbNameIsReportedAndRefused) {
  start();
  try {
    activator_registry()->remove("stranger");
    FAIL() << "no exception";
  } catch (const QZ_POA_PersistentServer::EndpointActivatorRegistry::EntryNotExist& ex) {
    EXPECT_STREQ(ex.orb_name, "stranger");
  }
  ASSERT_THAT(log().events(), SizeIs(1));
  EXPECT_EQ(log().events()[0].id, 13u);
  EXPECT_EQ(log().events()[0].priority, 16u);
  EXPECT_EQ(log().events()[0].message, "POA activator unregistration rejected, not registered.\nORB name: stranger");
}

TEST_F(ActivatorRegistrationTest, NilActivatorsAndEmptyOrbNamesAreRefused) {
  start();
  const auto minor_of = [this](const char* orb_name, QZ_POA_PersistentServer::EndpointActivator_ptr activator) {
    try {
      add_activator(orb_name, activator);
    } catch (const CORBA::BAD_PARAM& ex) {
      return ex.minor();
    }
    return CORBA::ULong{0};
  };
  EXPECT_EQ(minor_of("orb", EndpointActivator::_nil()), 0x515A0C05u);
  EXPECT_EQ(minor_of("", living()), 0x515A0C06u);
  EXPECT_EQ(orbs().number_of_entries(), 0u);
}

TEST_F(ActivatorRegistrationTest, SurvivesARestart) {
  start();
  add_activator("orb", living());
  stop();
  start();
  ASSERT_FALSE(find_orb("orb").is_null());
  EXPECT_FALSE(CORBA::is_nil(find_orb("orb")->impl_endpoint_activator_nc()));
  core().impl_validate_persistent_data();
  EXPECT_FALSE(find_orb("orb").is_null());
}

}  // namespace
