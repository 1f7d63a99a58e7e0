// The end of an active ORB in odd company.
#include <gmock/gmock.h>

#include "tests/unit/poa_locator/active_orb_test.h"

namespace {

using testing::ElementsAre;
using testing::SizeIs;

class ActiveOrbEndTest : public ActiveOrbTest {};

TEST_F(ActiveOrbEndTest, ADestructionThatIsEnteredAgainWhileItRunsReturnsAtOnce) {
  start();
  ActiveEndpoint bank = endpoints().create(core(), *id_of(m_bank), "orb");
  endpoints().create(core(), *id_of(m_shop), "orb");
  const auto orb = find_orb("orb");
  unsigned entered = 0;
  ThrowingRequest waiting;
  waiting.m_on_exception = [&] {
    ++entered;
    orb->impl_destroy();
    EXPECT_FALSE(find_orb("orb").is_null());
  };
  bank.handle_request(waiting);
  log().clear();
  orb->impl_destroy();
  EXPECT_EQ(entered, 1u);
  EXPECT_TRUE(find_orb("orb").is_null());
  EXPECT_EQ(endpoints().number_of_entries(), 0u);
  EXPECT_THAT(event_ids(), ElementsAre(30u, 30u));
}

// A process of the host that cannot let go of an ORB.
class ClingingProcess : public virtual QZ_LocatorInternal::ActiveProcess, public QZ_CORBA::RefCountedLocalObject {
 public:
  char* name() override { return CORBA::string_dup("clinging"); }
  void start() override {}
  void add_orb(QZ_LocatorInternal::ActiveORB_ptr) override {}
  void remove_orb(const char*) override { throw 1; }
  QZ_LocatorAdmin::ActiveProcess_ptr external_reference() override { return QZ_LocatorAdmin::ActiveProcess::_nil(); }
};

TEST_F(ActiveOrbEndTest, AnUnknownExceptionIsReportedAndDestructionGoesOn) {
  start();
  add(m_bank, "orb");
  const auto orb = find_orb("orb");
  {
    QZ_RecursiveMutexLock lock(orb->impl_mutex());
    orb->m_active_process = new ClingingProcess;
  }
  log().clear();
  orb->impl_destroy();
  EXPECT_THAT(event_ids(), ElementsAre(56u, 30u));
  ASSERT_THAT(log().events(56), SizeIs(1));
  EXPECT_EQ(log().events(56)[0].priority, 32u);
  EXPECT_THAT(log().events(56)[0].parameters, ElementsAre("orb"));
  EXPECT_TRUE(find_orb("orb").is_null());
  EXPECT_TRUE(find(m_bank).is_null());
  EXPECT_EQ(stored_orbs(), 0u);
}

}  // namespace
