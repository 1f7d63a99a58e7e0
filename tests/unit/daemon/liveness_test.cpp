// Servers whose process nobody watches.
#include <gmock/gmock.h>
#include <signal.h>

#include <algorithm>
#include <atomic>
#include <future>
#include <thread>

#include "tests/unit/daemon/fake_active_orb.h"
#include "tests/unit/daemon/host_fixture.h"

namespace {

using namespace poalocd;
using testing::IsEmpty;
using testing::SizeIs;

class LivenessTest : public HostFixture {
 protected:
  LivenessTest() { m_config.set("liveness", "failures", "3"); }

  FakeOrb insert(const std::string& name, QZ_LocatorInternal::ActiveProcess_ptr process = nullptr) {
    auto orb = make_orb(name, process);
    orb->is_registered = true;
    host().locator().active_orbs().insert(orb.get());
    return orb;
  }
  void check(int times = 1) {
    for (int i = 0; i < times; ++i) host().liveness_monitor().check();
  }
};

TEST_F(LivenessTest, ReportsADeathAfterFailuresInARow) {
  open();
  const auto orb = insert("manual");
  orb->alive = false;
  check(2);
  EXPECT_EQ(orb->deaths, 0);
  check();
  EXPECT_EQ(orb->deaths, 1);
  EXPECT_THAT(events(SERVER_PROBE_FAILED_EVENT), SizeIs(3));
  EXPECT_THAT(events(SERVER_DEAD_EVENT), SizeIs(1));
}

TEST_F(LivenessTest, CountsAnewAfterAnAnswer) {
  open();
  const auto orb = insert("manual");
  orb->alive = false;
  check(2);
  orb->alive = true;
  check();
  orb->alive = false;
  check(2);
  EXPECT_EQ(orb->deaths, 0);
  check();
  EXPECT_EQ(orb->deaths, 1);
}

TEST_F(LivenessTest, TakesAnExceptionForNoAnswer) {
  open();
  const auto orb = insert("manual");
  orb->probe_raises = true;
  check(3);
  EXPECT_EQ(orb->deaths, 1);
}

TEST_F(LivenessTest, DoesNotCountASuccessorOfTheSameName) {
  open();
  const auto old = insert("manual");
  old->alive = false;
  check(2);
  host().locator().active_orbs().remove("manual");
  const auto fresh = insert("manual");
  fresh->alive = false;
  check(2);
  EXPECT_EQ(fresh->deaths, 0);
}

TEST_F(LivenessTest, AsksNobodyWhoHasRegisteredNothing) {
  open();
  const auto orb = insert("manual");
  orb->is_registered = false;
  orb->alive = false;
  check(5);
  EXPECT_EQ(orb->probes, 0);
  EXPECT_EQ(orb->deaths, 0);
}

TEST_F(LivenessTest, AsksNobodyWhoseProcessIsWatched) {
  add_process("bank", {"sleep", "1000"});
  open_and_start();
  const auto bank = process("bank");
  const auto orb = insert("bank", bank);
  bank->add_orb(orb.get());
  bank->start();
  orb->alive = false;
  check(5);
  EXPECT_EQ(orb->probes, 0);
  EXPECT_EQ(orb->deaths, 0);
  kill(-std::stoi(events(PROCESS_STARTED_EVENT).at(0).parameters.at(1)), SIGKILL);
}

TEST_F(LivenessTest, AsksServersOfAProcessThatRegisteredByItself) {
  add_process("bank", {"sleep", "1000"});
  open();
  const auto bank = process("bank", true);
  const auto orb = insert("bank", bank);
  bank->add_orb(orb.get());
  orb->on_death = [&] { bank->remove_orb("bank"); };
  orb->alive = false;
  check(3);
  EXPECT_EQ(orb->deaths, 1);
  // Gone, so it may be started.
  EXPECT_TRUE(CORBA::is_nil(QZ_LocatorInternal::ActiveProcess_var(processes().find("bank"))));
}

TEST_F(LivenessTest, TakesAProcessForRunningWhoseOrbHasRegistered) {
  add_process("bank", {"/no/such/program"});
  open();
  const auto bank = process("bank");
  const auto orb = insert("bank", bank);
  bank->add_orb(orb.get());
  check();
  // Running, so this starts nothing, and nothing fails.
  EXPECT_NO_THROW(bank->start());
}

TEST_F(LivenessTest, GivesUpARunningProcessThatNeverRegisters) {
  add_process("bank", {"/no/such/program"});
  open();
  const auto bank = process("bank", true);
  const auto orb = make_orb("bank", bank);
  bank->add_orb(orb.get());
  check(2);
  EXPECT_EQ(orb->deaths, 0);
  check();
  EXPECT_EQ(orb->deaths, 1);
  EXPECT_THROW(bank->start(), QZ_LocatorInternal::StartFailed);
}

TEST_F(LivenessTest, ServerThatHangsDoesNotDelayTheOthers) {
  open();
  std::promise<void> end;
  const std::shared_future<void> ended = end.get_future().share();
  const auto hangs = insert("a");
  hangs->on_probe = [ended] { ended.wait(); };
  std::vector<FakeOrb> others;
  for (const char* name : {"b", "c", "d"}) others.push_back(insert(name));
  std::thread round([this] { check(); });
  EXPECT_TRUE(support::wait_until([&] {
    return hangs->probes == 1 && std::all_of(others.begin(), others.end(), [](auto& o) { return o->probes == 1; });
  }));
  end.set_value();
  round.join();
}

// At the end of the round it may have come back and registered anew.
TEST_F(LivenessTest, DeathIsToldWhileOthersAreStillAsked) {
  open();
  std::promise<void> end;
  const std::shared_future<void> ended = end.get_future().share();
  const auto dead = insert("a");
  const auto hangs = insert("b");
  dead->alive = false;
  check(2);
  hangs->on_probe = [ended] { ended.wait(); };
  std::thread round([this] { check(); });
  EXPECT_TRUE(support::wait_until([&] { return dead->deaths == 1; }));
  end.set_value();
  round.join();
  EXPECT_EQ(dead->deaths, 1);
}

TEST_F(LivenessTest, AsksFewServersAtATime) {
  constexpr int LIMIT = 8;
  open();
  std::atomic<int> inside{0};
  std::atomic<int> most{0};
  std::vector<FakeOrb> orbs;
  for (int i = 0; i < 3 * LIMIT; ++i) {
    orbs.push_back(insert("orb" + std::to_string(i)));
    orbs.back()->on_probe = [&] {
      const int now = ++inside;
      for (int seen = most; seen < now && !most.compare_exchange_weak(seen, now);) continue;
      support::wait_until([&] { return most >= LIMIT; });
      --inside;
    };
  }
  check();
  EXPECT_EQ(most, LIMIT);
  for (const auto& orb : orbs) EXPECT_EQ(orb->probes, 1);
}

TEST_F(LivenessTest, RoundsComeByThemselves) {
  m_config.set("liveness", "interval", "0.02");
  open();
  const auto orb = insert("manual");
  orb->alive = false;
  orb->on_death = [&] { host().locator().active_orbs().remove("manual"); };
  host().start();
  EXPECT_TRUE(support::wait_until([&] { return orb->deaths == 1; }));
  EXPECT_THAT(events(THREAD_FAILED_EVENT), IsEmpty());
}

}  // namespace
