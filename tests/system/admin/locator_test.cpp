// The locator itself, seen over the wire.
#include <chrono>

#include "tests/support/giop_reply.h"
#include "tests/system/admin/active_test.h"

namespace {

using QZ_LocatorAdmin::EventList_var;

constexpr CORBA::ULong LONG = 25'000;

class LocatorAdminTest : public ActiveTest {
 protected:
  static CORBA::ULongLong counter(const QZ_LocatorAdmin::CounterList& list, const std::string& name) {
    for (CORBA::ULong i = 0; i < list.length(); ++i)
      if (name == list[i].name.in()) return list[i].value;
    ADD_FAILURE() << "no counter " << name;
    return 0;
  }
  QZ_LocatorAdmin::Status status() const { return *QZ_LocatorAdmin::Status_var(locator()->info()).operator->(); }
  // The number of the latest event.
  CORBA::ULongLong latest() const {
    EventList_var all = locator()->next_events(0, 100'000, 0);
    return all->length() == 0 ? 0 : all[all->length() - 1].number;
  }

  support::FakeServer m_server{m_locator, "bank"};
};

TEST_F(LocatorAdminTest, TellsWhatItIs) {
  const auto before = status();
  EXPECT_STRNE(before.version, "");
  EXPECT_STREQ(before.domain, m_locator.domain().c_str());
  EXPECT_EQ(before.pid, static_cast<CORBA::ULong>(m_locator.pid()));
  ASSERT_EQ(before.addresses.length(), 1U);
  EXPECT_STREQ(before.addresses[0], m_locator.address().c_str());
  const auto now =
      std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::system_clock::now().time_since_epoch())
          .count();
  EXPECT_LE(before.start_time, static_cast<QZ_LocatorAdmin::Time>(now));
  EXPECT_GT(before.start_time, static_cast<QZ_LocatorAdmin::Time>(now) - 600'000'000);
}

TEST_F(LocatorAdminTest, CountsItsEntries) {
  for (const char* name : {"processes", "orbs", "poas", "active_processes", "active_orbs", "active_poas"})
    EXPECT_EQ(counter(status().entries, name), 0U) << name;
  const auto bank = add_script("bank", "exec sleep 1000");
  const QZ_IMRAdmin::Process_var other = add_process("other");
  bank->start();
  m_server.add("Bank");
  m_server.add("Bank/Accounts");
  const auto entries = status().entries;
  EXPECT_EQ(counter(entries, "processes"), 2U);
  EXPECT_EQ(counter(entries, "orbs"), 1U);
  EXPECT_EQ(counter(entries, "poas"), 2U);
  EXPECT_EQ(counter(entries, "active_processes"), 1U);
  EXPECT_EQ(counter(entries, "active_orbs"), 1U);
  EXPECT_EQ(counter(entries, "active_poas"), 2U);
}

TEST_F(LocatorAdminTest, CountsWhatTheFrontDoorDoes) {
  m_server.add("Bank");
  const auto before = status().front_door;
  support::RequestSpec spec;
  spec.key = m_server.key_of("Bank");
  auto client = connect();
  client.call(request(spec));
  client.call(locate_request(spec));
  spec.key = support::octets_of("Nobody");
  client.call(request(spec));
  const auto after = status().front_door;
  const auto added = [&](const char* name) { return counter(after, name) - counter(before, name); };
  // The calls that read the counters come in there too.
  EXPECT_GE(added("requests"), 2U);
  EXPECT_GE(added("locate_requests"), 1U);
  EXPECT_GE(added("forwards"), 2U);
  EXPECT_EQ(added("requests_unrouted"), 1U);
  EXPECT_GE(added("connections_accepted"), 1U);
  EXPECT_GE(counter(after, "connections_open"), 1U);
  EXPECT_EQ(added("protocol_errors"), 0U);
}

TEST_F(LocatorAdminTest, GivesTheEventsOneAfterTheOther) {
  m_server.add("Bank");
  ASSERT_TRUE(m_locator.log().wait_for(8, {"Bank", "bank"}));
  EventList_var all = locator()->next_events(0, 1000, 0);
  ASSERT_GE(all->length(), 3U);
  EXPECT_STREQ(all[0].subsystem, "QZ_HOST");
  EXPECT_EQ(all[0].id, 1U);
  EXPECT_EQ(all[0].priority, 1U);
  for (CORBA::ULong i = 1; i < all->length(); ++i) EXPECT_GT(all[i].number, all[i - 1].number);
  const auto logged = m_locator.log().events();
  ASSERT_GE(logged.size(), all->length());
  for (CORBA::ULong i = 0; i < all->length(); ++i) EXPECT_EQ(logged[i].message, all[i].message.in());
  EventList_var two = locator()->next_events(all[0].number, 2, 0);
  ASSERT_EQ(two->length(), 2U);
  EXPECT_EQ(two[0].number, all[1].number);
  EXPECT_EQ(two[1].number, all[2].number);
}

TEST_F(LocatorAdminTest, AFollowerIsToldOfTheNextEvent) {
  const auto last = latest();
  auto follower = std::async(std::launch::async, [&] { return locator()->next_events(last, 10, LONG); });
  m_server.add("Bank");
  EventList_var events = follower.get();
  ASSERT_GE(events->length(), 1U);
  EXPECT_GT(events[0].number, last);
}

TEST_F(LocatorAdminTest, AFollowerGoesOnAfterARestart) {
  const auto before = latest();
  ASSERT_GT(before, 0U);
  restart();
  EventList_var events = locator()->next_events(before, 10, LONG);
  ASSERT_GE(events->length(), 1U);
  EXPECT_GT(events[0].number, before);
  EXPECT_EQ(events[0].id, 1U) << "poalocd starts";
}

TEST_F(LocatorAdminTest, FollowersDoNotDelayTheEnd) {
  const auto reference = locator();
  const auto last = latest();
  std::vector<std::future<bool>> followers;
  for (int i = 0; i < 4; ++i)
    followers.push_back(std::async(std::launch::async, [&] {
      try {
        EventList_var events = reference->next_events(last + 1'000'000'000, 10, LONG);
        return events->length() == 0;
      } catch (const CORBA::SystemException&) {
        return true;  // the daemon has gone
      }
    }));
  const auto begin = std::chrono::steady_clock::now();
  m_locator.terminate();
  EXPECT_LT(std::chrono::steady_clock::now() - begin, support::scaled(std::chrono::seconds(15)));
  for (auto& follower : followers) EXPECT_TRUE(follower.get());
  m_locator.start();
}

TEST_F(LocatorAdminTest, FollowersLeaveThreadsForOthers) {
  constexpr std::size_t MAY_WAIT = 16;
  support::RequestSpec spec;
  spec.key = support::octets_of(QZ_LocatorAdmin::LOCATOR_ADMIN);
  const auto forward = connect().call(request(spec)).forward;
  ASSERT_TRUE(forward);
  spec.key = forward->key;
  spec.operation = "next_events";
  const auto wait = static_cast<std::uint64_t>(support::scaled(std::chrono::seconds(4)).count());
  spec.body =
      support::CdrWriter(spec.dialect.order).ulonglong(latest() + 1'000'000'000'000).ulong(10).ulong(wait).octets();
  std::vector<support::GiopClient> followers;
  for (std::size_t i = 0; i < MAY_WAIT + 24; ++i) {
    followers.emplace_back(m_locator.host(), support::Locator::ORB_ENDPOINT);
    followers.back().send(request(spec));
  }
  // Servers and administrators are served meanwhile.
  m_server.add("Bank");
  EXPECT_EQ(active_poas()->number_of_entries(), 1U);
  std::size_t waited = 0;
  for (auto& follower : followers) {
    const auto reply = follower.receive_reply();
    if (reply.status == support::NO_EXCEPTION)
      ++waited;
    else
      EXPECT_TRUE(support::is_exception(reply, "NO_RESOURCES", 0));
  }
  EXPECT_EQ(waited, MAY_WAIT);
}

TEST_F(LocatorAdminTest, MakesReferencesThatLeadThroughTheFrontDoor) {
  m_server.add("Bank");
  const auto key = m_server.key_of("Bank");
  const CORBA::Object_var made = locator()->make_reference(support::octet_seq(key), "IDL:Bank/Account:1.0");
  const CORBA::String_var text = support::corba_orb()->object_to_string(made);
  const auto reference = support::parse_stringified_reference(text.in());
  EXPECT_EQ(reference.type_id, "IDL:Bank/Account:1.0");
  EXPECT_EQ(reference.host, m_locator.host());
  EXPECT_EQ(reference.port, static_cast<unsigned>(support::Locator::FRONT_DOOR));
  EXPECT_EQ(reference.key, key);
  EXPECT_THROW(CORBA::Object_var(locator()->make_reference(CORBA::OctetSeq(), "")), CORBA::BAD_PARAM);
}

}  // namespace
