// Everything at once: requests, registrations, activations that fail and succeed, deaths and administration. Whatever
// the order, every request is answered once, and tables and store agree in the end.
#include <gmock/gmock.h>

#include <random>
#include <thread>

#include "tests/unit/poa_locator/active_fixture.h"

namespace {

using QZ_POA_PersistentServer::EndpointActivator;

class ActiveRaceTest : public ActiveFixture {
 protected:
  static constexpr int POAS = 4;
  static constexpr int ROUNDS = 60;

  static Names poa(unsigned number) { return {"Poa" + std::to_string(number % POAS)}; }
  static std::string orb_name(unsigned number) { return "orb" + std::to_string(number % POAS % 2); }

  // Raises nothing: in a race any of the declared outcomes is right.
  template <class Work>
  static void attempt(Work&& work) {
    try {
      work();
    } catch (const CORBA::Exception&) {
    }
  }

  void set_up() {
    start();
    for (unsigned i = 0; i < POAS; ++i) add_entry(poa(i), orb_name(i));
    add_activators();
  }
  void add_activators() {
    for (unsigned i = 0; i < 2; ++i) {
      TestActivator* unused = nullptr;
      const auto activator = make_activator(unused, [this](const std::vector<Names>& poas) { serve(poas); });
      attempt([&] {
        activator_registry()->add(orb_name(i).c_str(), activator, QZ_POA_PersistentServer::EndpointIdList_var().out());
      });
    }
  }
  // Sometimes registers, sometimes fails, sometimes both.
  void serve(const std::vector<Names>& poas) {
    const unsigned choice = m_choice++;
    if (choice % 3 != 0) {
      for (const Names& one : poas) attempt([&] { add(one, orb_name(one[0].back() - '0'), m_state); });
    }
    if (choice % 3 == 0) throw EndpointActivator::EndpointNonExistent();
    if (choice % 3 == 1) throw CORBA::NO_MEMORY(0, CORBA::COMPLETED_NO);
  }

  void run_all() {
    m_state = make_state();
    std::vector<std::jthread> threads;
    std::vector<std::vector<std::shared_ptr<FakeRequest>>> sent(3);
    for (unsigned t = 0; t < sent.size(); ++t) {
      threads.emplace_back([this, t, &mine = sent[t]] {
        for (unsigned i = 0; i < ROUNDS * 5; ++i) {
          const std::string key = key_of(poa(i + t));
          auto request = std::make_shared<FakeRequest>(key, i % 2 ? FakeRequest::REQUEST : FakeRequest::LOCATE);
          // A route may have been closed since it was looked up, which the front door looks up again as well.
          auto interceptor = interceptor_of(key);
          while (CORBA::is_nil(interceptor)) interceptor = interceptor_of(key);
          mine.push_back(request);
          request->give_to(interceptor);
        }
      });
    }
    threads.emplace_back([this] {
      for (unsigned i = 0; i < ROUNDS; ++i) {
        attempt([&] { add(poa(i), orb_name(i), m_state); });
        attempt([&] { remove(poa(i + 1), orb_name(i + 1)); });
      }
    });
    threads.emplace_back([this] {
      for (unsigned i = 0; i < ROUNDS; ++i) {
        for (ActiveEndpoint& endpoint : endpoints().list())
          if (i % 4 == 0) endpoint.destroy();
        if (const auto orb = find_orb(orb_name(i)); !orb.is_null()) {
          if (i % 10 == 5) orb->process_died();
          if (i % 10 == 7) orb->impl_destroy();
          if (i % 10 == 8) orb->probe();
        }
        if (i % 10 == 9) add_activators();
        if (i % 15 == 3) attempt([&] { activator_registry()->remove(orb_name(i).c_str()); });
      }
    });
    threads.clear();
    for (auto& mine : sent) m_sent.insert(m_sent.end(), mine.begin(), mine.end());
  }

  bool all_workers_done() {
    return support::wait_until([&] {
      Gate& gate = *core().impl_gate();
      const QZ_MutexLock lock(gate.m_mutex);
      return gate.m_inside == 0;
    });
  }

  void expect_agreement() {
    std::size_t in_orbs = 0;
    for (const auto& orb : orbs().list()) in_orbs += orb->impl_endpoints().size();
    EXPECT_EQ(in_orbs, endpoints().number_of_entries());
    for (const ActiveEndpoint& endpoint : endpoints().list()) {
      EXPECT_FALSE(endpoint.has_ended());
      const RefCountHandle<POAActiveORBImpl> orb(endpoint.orb());
      EXPECT_EQ(find_orb(orb->impl_name()).get(), orb.get());
    }
    EXPECT_EQ(stored_endpoints(), endpoints().number_of_entries());
    EXPECT_EQ(stored_orbs(), orbs().number_of_entries());
  }

  std::atomic<unsigned> m_choice{0};
  QZ_POA_PersistentServer::EndpointDynamicState_var m_state;
  std::vector<std::shared_ptr<FakeRequest>> m_sent;
};

TEST_F(ActiveRaceTest, EveryRequestIsAnsweredOnceAndTheTablesAgree) {
  set_up();
  run_all();
  ASSERT_TRUE(all_workers_done());
  expect_agreement();
  for (const auto& orb : orbs().list()) orb->impl_destroy();
  EXPECT_EQ(endpoints().number_of_entries(), 0u);
  expect_agreement();
  for (const auto& request : m_sent) {
    ASSERT_TRUE(request->answered());
    EXPECT_EQ(request->outcome().outcomes, 1u);
    EXPECT_NE(request->outcome().exception, "UNKNOWN");
  }
}

TEST_F(ActiveRaceTest, WhatWasThereIsThereAfterARestart) {
  set_up();
  run_all();
  ASSERT_TRUE(all_workers_done());
  std::vector<std::string> running;
  for (const ActiveEndpoint& endpoint : endpoints().list())
    if (endpoint.is_dynamic_state_set()) running.emplace_back(endpoint.name());
  stop();
  for (const auto& request : m_sent) {
    ASSERT_TRUE(request->answered());
    EXPECT_EQ(request->outcome().outcomes, 1u);
  }
  start();
  core().impl_validate_persistent_data();
  std::vector<std::string> restored;
  for (const ActiveEndpoint& endpoint : endpoints().list()) restored.emplace_back(endpoint.name());
  EXPECT_THAT(restored, testing::UnorderedElementsAreArray(running));
  EXPECT_EQ(stored_endpoints(), running.size());
}

}  // namespace
