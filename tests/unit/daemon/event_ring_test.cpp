#include <gmock/gmock.h>

#include <future>
#include <thread>

#include "daemon/event_ring.h"
#include "tests/support/wait.h"

namespace {

using namespace poalocd;
using support::wait_until;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using Clock = std::chrono::steady_clock;

constexpr Milliseconds NO_WAIT{0};
constexpr Milliseconds LONG{30'000};

class EventRingTest : public testing::Test {
 protected:
  void add(const std::string& text) {
    m_ring.add({std::chrono::system_clock::now(), "QZ_TEST", 7, 16, text, {"parameter"}});
  }
  std::vector<EventRing::Entry> next(std::uint64_t after, Milliseconds wait = NO_WAIT, std::size_t how_many = 10'000) {
    std::vector<EventRing::Entry> result;
    EXPECT_EQ(m_ring.next(after, how_many, wait, result), EventRing::Outcome::DONE);
    return result;
  }
  std::vector<std::string> texts(std::uint64_t after, std::size_t how_many = 10'000) {
    std::vector<std::string> result;
    for (const auto& entry : next(after, NO_WAIT, how_many)) result.push_back(entry.message);
    return result;
  }
  bool wait_for_waiting(unsigned number) {
    return wait_until([&] { return m_ring.waiting() == number; });
  }

  EventRing m_ring;
};

TEST_F(EventRingTest, GivesWhatIsBehindANumber) {
  for (const char* text : {"a", "b", "c"}) add(text);
  EXPECT_THAT(texts(0), ElementsAre("a", "b", "c"));
  EXPECT_THAT(texts(0, 2), ElementsAre("a", "b"));
  const auto all = next(0);
  EXPECT_THAT(texts(all[0].number), ElementsAre("b", "c"));
  EXPECT_THAT(texts(all[2].number), IsEmpty());
  EXPECT_EQ(all[0].subsystem, "QZ_TEST");
  EXPECT_EQ(all[0].id, 7U);
  EXPECT_EQ(all[0].priority, 16U);
}

TEST_F(EventRingTest, NumbersRiseWithinOneInstantAndOverRestarts) {
  const auto time = std::chrono::system_clock::now();
  for (int i = 0; i < 3; ++i) m_ring.add({time, "QZ_TEST", 7, 1, "x", {}});
  const auto entries = next(0);
  ASSERT_THAT(entries, SizeIs(3));
  EXPECT_LT(entries[0].number, entries[1].number);
  EXPECT_LT(entries[1].number, entries[2].number);
  EventRing later;
  later.add({time + std::chrono::milliseconds(1), "QZ_TEST", 7, 1, "x", {}});
  std::vector<EventRing::Entry> found;
  later.next(entries[2].number, 1, NO_WAIT, found);
  EXPECT_THAT(found, SizeIs(1));
}

TEST_F(EventRingTest, KeepsTheLatestAndCutsLongOnes) {
  for (std::size_t i = 0; i < EventRing::CAPACITY + 5; ++i) add(std::to_string(i));
  EXPECT_THAT(next(0), SizeIs(EventRing::CAPACITY));
  EXPECT_EQ(next(0)[0].message, "5");
  add(std::string(EventRing::MAX_MESSAGE + 1, 'x'));
  EXPECT_EQ(next(0).back().message, std::string(EventRing::MAX_MESSAGE, 'x') + "...");
}

TEST_F(EventRingTest, WaitsForTheNext) {
  add("old");
  const auto last = next(0)[0].number;
  auto waiting = std::async(std::launch::async, [&] { return next(last, LONG); });
  ASSERT_TRUE(wait_for_waiting(1));
  add("new");
  const auto found = waiting.get();
  ASSERT_THAT(found, SizeIs(1));
  EXPECT_EQ(found[0].message, "new");
  EXPECT_EQ(m_ring.waiting(), 0U);
}

TEST_F(EventRingTest, WaitsNoLongerThanItWasTold) {
  const auto begin = Clock::now();
  EXPECT_THAT(next(0, Milliseconds(30)), IsEmpty());
  EXPECT_GE(Clock::now() - begin, Milliseconds(30));
  add("here");
  EXPECT_THAT(next(0, LONG), SizeIs(1));
}

TEST_F(EventRingTest, LetsOnlySomeWait) {
  std::vector<std::future<std::size_t>> waiting;
  for (unsigned i = 0; i < EventRing::MAX_WAITING; ++i)
    waiting.push_back(std::async(std::launch::async, [&] { return next(0, LONG).size(); }));
  ASSERT_TRUE(wait_for_waiting(EventRing::MAX_WAITING));
  std::vector<EventRing::Entry> found;
  EXPECT_EQ(m_ring.next(0, 1, LONG, found), EventRing::Outcome::TOO_MANY_WAIT);
  // Who does not wait is served.
  EXPECT_EQ(m_ring.next(0, 1, NO_WAIT, found), EventRing::Outcome::DONE);
  add("for all");
  for (auto& one : waiting) EXPECT_EQ(one.get(), 1U);
}

TEST_F(EventRingTest, NobodyWaitsOnceItIsClosed) {
  auto waiting = std::async(std::launch::async, [&] { return next(0, LONG).size(); });
  ASSERT_TRUE(wait_for_waiting(1));
  m_ring.close();
  EXPECT_EQ(waiting.get(), 0U);
  const auto begin = Clock::now();
  EXPECT_THAT(next(0, LONG), IsEmpty());
  EXPECT_LT(Clock::now() - begin, LONG);
  add("at the end");
  EXPECT_THAT(texts(0), ElementsAre("at the end"));
}

}  // namespace
