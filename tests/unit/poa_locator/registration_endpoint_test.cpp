// Servers register and withdraw their POAs.
#include <gmock/gmock.h>

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <thread>

#include "platform/orb/ior_impl.h"
#include "tests/support/disk_waits.h"
#include "tests/unit/poa_locator/active_fixture.h"

namespace {

using QZ_POA_PersistentServer::EndpointDynamicState;
using ServerRegistry = QZ_POA_PersistentServer::EndpointRegistry;
using testing::ElementsAre;
using testing::SizeIs;

class EndpointRegistrationTest : public ActiveFixture {
 protected:
  const Names m_bank{"Bank"};

  template <class Work>
  void expect_bad_param(CORBA::ULong minor, Work&& work) {
    try {
      work();
      FAIL() << "no exception";
    } catch (const CORBA::BAD_PARAM& ex) {
      EXPECT_EQ(ex.minor(), minor);
    }
    EXPECT_EQ(endpoints().number_of_entries(), 0u);
    EXPECT_TRUE(registry().find(*id_of(m_bank)).is_null());
  }
  void add_raw(const CORBA::OctetSeq& id, const char* orb_name, CORBA::Object_ptr reference,
               QZ_POA_PersistentServer::EndpointDynamicState_ptr state) {
    CORBA::Object_var locator_reference;
    CORBA::ULong number = 0;
    server_registry()->add(orb_name, id, reference, state, locator_reference.out(), number);
  }
};

TEST_F(EndpointRegistrationTest, ARegisteredPoaIsForwardedTo) {
  start();
  EXPECT_EQ(add(m_bank, "orb"), 1u);
  EXPECT_EQ(send_to(m_bank)->outcome().forwarded_key, server_key(m_bank) + "object");
  ASSERT_THAT(log().events(4), SizeIs(1));
  EXPECT_EQ(log().events(4)[0].priority, 1u);
  EXPECT_THAT(log().events(4)[0].parameters, ElementsAre("Bank"));
}

TEST_F(EndpointRegistrationTest, GivesTheServerAReferenceOfThePoaAtTheLocator) {
  start();
  CORBA::Object_var reference;
  CORBA::ULong number = 0;
  server_registry()->add("orb", *id_of(m_bank), prototype(server_key(m_bank)), make_state(), reference.out(), number);
  ASSERT_FALSE(CORBA::is_nil(reference));
  const QZ_IOR::IOR_var ior = host().binding_manager().object_to_ior(reference);
  EXPECT_STREQ(CORBA::String_var(ior->type_id()), "");
  const auto key = dynamic_cast<QZ_IOR::IORImpl&>(*ior.in()).object_key();
  EXPECT_EQ(std::string(key.begin(), key.end()), octets(*id_of(m_bank)));
}

TEST_F(EndpointRegistrationTest, CountsItsRegistrationsAlsoAcrossARestart) {
  start();
  EXPECT_EQ(add(m_bank, "orb"), 1u);
  remove(m_bank, "orb");
  EXPECT_EQ(add(m_bank, "orb"), 2u);
  EXPECT_EQ(registry().find(*id_of(m_bank)).creation_seq_nbr(), 2u);
  remove(m_bank, "orb");
  stop();
  start();
  EXPECT_EQ(add(m_bank, "orb"), 3u);
}

TEST_F(EndpointRegistrationTest, WaitsForTheDiskOnceBeforeItIsAnswered) {
  start();
  add(m_bank, "orb");
  const unsigned before = disk_waits();
  add({"Shop"}, "orb");
  EXPECT_EQ(disk_waits(), before + 1);
}

TEST_F(EndpointRegistrationTest, ASecondRegistrationWhileTheServerAnswersIsRefused) {
  start();
  add(m_bank, "orb");
  try {
    add(m_bank, "orb");
    FAIL() << "no exception";
  } catch (const ServerRegistry::EntryAlreadyExists& ex) {
    EXPECT_EQ(octets(ex.id), octets(*id_of(m_bank)));
  }
  EXPECT_EQ(registry().find(*id_of(m_bank)).creation_seq_nbr(), 1u);
  EXPECT_EQ(send_to(m_bank)->outcome().kind, Outcome::FORWARD);
}

TEST_F(EndpointRegistrationTest, AServerThatCrashedAndIsBackTakesItsPlaceAgain) {
  start();
  add(m_bank, "orb", dead_state());
  const ActiveEndpoint old = find(m_bank);
  EXPECT_EQ(add(m_bank, "orb"), 2u);
  EXPECT_TRUE(old.has_ended());
  EXPECT_FALSE(find(m_bank).same_as(old));
  EXPECT_EQ(send_to(m_bank)->outcome().kind, Outcome::FORWARD);
  EXPECT_EQ(stored_endpoints(), 1u);
}

TEST_F(EndpointRegistrationTest, AServerWhoseObjectHasGoneIsTakenForCrashed) {
  start();
  const auto state = make_state();
  add(m_bank, "orb", state);
  die(state);
  EXPECT_EQ(add(m_bank, "orb"), 2u);
}

TEST_F(EndpointRegistrationTest, AServerThatHangsIsTakenForCrashedAfterTheTimeLimit) {
  config().set("orb_endpoint", "probe_time_limit", "0.2");
  start();
  const int silent = ::socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in name{};
  name.sin_family = AF_INET;
  name.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  ASSERT_EQ(::bind(silent, reinterpret_cast<sockaddr*>(&name), sizeof name), 0);
  ASSERT_EQ(::listen(silent, 1), 0);
  socklen_t length = sizeof name;
  ::getsockname(silent, reinterpret_cast<sockaddr*>(&name), &length);
  const std::string key = "silent";
  const QZ_IOR::IOREndpoint_var address = QZ_IOR::IOREndpointImpl::of_addresses(
      {{"127.0.0.1", ntohs(name.sin_port)}}, std::span(reinterpret_cast<const unsigned char*>(key.data()), key.size()));
  const QZ_IOR::IOR_var ior = address->make_ior(CORBA::OctetSeq(), "");
  const CORBA::Object_var reference = host().binding_manager().ior_to_object(ior);
  add(m_bank, "orb", EndpointDynamicState::_unchecked_narrow(reference));
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ(add(m_bank, "orb"), 2u);
  // Far from the time that an activation may take, which is the limit of every other call.
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(15));
  ::close(silent);
}

TEST_F(EndpointRegistrationTest, NobodyWaitsForTheCoreMutexWhileAServerIsAsked) {
  start();
  add(m_bank, "orb", dead_state());
  QZ_MutexLock lock(core().impl_mutex());
  std::jthread registration([this] { add(m_bank, "orb"); });
  // The dead server's endpoint is still there, since its successor waits for the mutex; forwarding goes on.
  EXPECT_EQ(send_to(m_bank)->outcome().kind, Outcome::FORWARD);
  core().impl_mutex().unlock();
  registration.join();
  core().impl_mutex().lock();
  EXPECT_TRUE(find(m_bank).is_dynamic_state_set());
}

TEST_F(EndpointRegistrationTest, AStaleRegistrationOfAnotherOrbStays) {
  start();
  add(m_bank, "A", dead_state());
  try {
    add(m_bank, "B");
    FAIL() << "no exception";
  } catch (const ServerRegistry::InvalidOrbName& ex) {
    EXPECT_STREQ(ex.orb_name, "B");
  }
  EXPECT_TRUE(find(m_bank).is_dynamic_state_set());
}

TEST_F(EndpointRegistrationTest, AnEntryOfAnotherOrbIsRefused) {
  start();
  add_entry(m_bank, "A");
  EXPECT_THROW(add(m_bank, "B"), ServerRegistry::InvalidOrbName);
  EXPECT_TRUE(find(m_bank).is_null());
}

TEST_F(EndpointRegistrationTest, AParentThatForbidsDynamicRegistrationIsObeyed) {
  start();
  registry().root().add("Closed", false, false, "");
  try {
    add({"Closed", "Bank"}, "orb");
    FAIL() << "no exception";
  } catch (const ServerRegistry::DynamicRegistrationNotAllowed& ex) {
    EXPECT_EQ(octets(ex.id), octets(*id_of({"Closed", "Bank"})));
  }
  EXPECT_EQ(endpoints().number_of_entries(), 0u);
  EXPECT_EQ(stored_orbs(), 0u);
}

TEST_F(EndpointRegistrationTest, AMissingParentIsTold) {
  start();
  try {
    add({"Missing", "Bank"}, "orb");
    FAIL() << "no exception";
  } catch (const ServerRegistry::EntryNotExist& ex) {
    EXPECT_EQ(octets(ex.id), octets(*id_of({"Missing"})));
  }
  EXPECT_EQ(endpoints().number_of_entries(), 0u);
}

TEST_F(EndpointRegistrationTest, NilReferencesAreRefusedBeforeAnythingIsMade) {
  start();
  expect_bad_param(0x515A0C05, [&] { add_raw(*id_of(m_bank), "orb", CORBA::Object::_nil(), make_state()); });
  expect_bad_param(0x515A0C05, [&] { add_raw(*id_of(m_bank), "orb", prototype("key"), EndpointDynamicState::_nil()); });
}

TEST_F(EndpointRegistrationTest, IdsThatNameNoPoaOfThisDomainAreRefused) {
  start();
  const auto refused = [&](const CORBA::OctetSeq& id) {
    expect_bad_param(0x515A0C06, [&] { add_raw(id, "orb", prototype("key"), make_state()); });
  };
  refused(CORBA::OctetSeq());
  refused(octet_seq("no segments"));
  refused(*id_of({}));
  const std::string id = octets(*id_of(m_bank));
  refused(octet_seq(id + "rest"));
  refused(octet_seq(id.substr(0, id.size() - 1)));
  refused(*raw_id("Bank"));
  refused(*raw_id(std::string(1, '\0')));
  refused(*id_of({"", "Bank"}));
  refused(*id_of({"Bank", ""}));
  refused(*id_of({"Bank", "", "Accounts"}));
  std::string foreign = id;
  foreign[foreign.find(DOMAIN_NAME)] = 'T';
  refused(octet_seq(foreign));
  std::string other_format = id;
  other_format[4] = 'X';
  refused(octet_seq(other_format));
}

TEST_F(EndpointRegistrationTest, AnEmptyOrbNameIsRefused) {
  start();
  expect_bad_param(0x515A0C06, [&] { add(m_bank, ""); });
}

TEST_F(EndpointRegistrationTest, WithdrawingEndsTheEndpoint) {
  start();
  add(m_bank, "orb");
  remove(m_bank, "orb");
  EXPECT_TRUE(find(m_bank).is_null());
  ASSERT_THAT(log().events(5), SizeIs(1));
  EXPECT_THAT(log().events(5)[0].parameters, ElementsAre("Bank"));
  EXPECT_EQ(log().events(5)[0].priority, 1u);
}

TEST_F(EndpointRegistrationTest, WithdrawingAnUnknownPoaIsNoErrorAndReportedAllTheSame) {
  start();
  remove(m_bank, "orb");
  ASSERT_THAT(log().events(), SizeIs(1));
  EXPECT_EQ(log().events()[0].id, 5u);
  EXPECT_EQ(log().events()[0].message, "POA unregistered. POA Name: Bank");
}

TEST_F(EndpointRegistrationTest, WithdrawingUnderAnotherOrbNameEndsTheEndpointAllTheSame) {
  start();
  add(m_bank, "orb");
  remove(m_bank, "another");
  EXPECT_TRUE(find(m_bank).is_null());
}

TEST_F(EndpointRegistrationTest, ManyServersRegisterAndLeaveAtTheSameTime) {
  start();
  constexpr int SERVERS = 8;
  constexpr int ROUNDS = 5;
  {
    std::vector<std::jthread> servers;
    for (int server = 0; server < SERVERS; ++server) {
      servers.emplace_back([this, server] {
        const std::string name = "orb" + std::to_string(server);
        for (int round = 0; round < ROUNDS; ++round) {
          add({"Poa" + std::to_string(server)}, name);
          remove({"Poa" + std::to_string(server)}, name);
        }
      });
    }
  }
  EXPECT_EQ(endpoints().number_of_entries(), 0u);
  EXPECT_EQ(orbs().number_of_entries(), 0u);
  EXPECT_EQ(stored_endpoints(), 0u);
  EXPECT_EQ(stored_orbs(), 0u);
}

}  // namespace
