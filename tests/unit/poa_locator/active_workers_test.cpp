// The threads that ask activators and that answer those who waited, and what they do with the copies of requests.
#include <gmock/gmock.h>

#include "poa_locator/locator/endpoint_activator_thread.h"
#include "tests/unit/poa_locator/active_fixture.h"

namespace {

using testing::ElementsAre;

class ActiveWorkersTest : public ActiveFixture {
 protected:
  const Names m_bank{"Bank"};
  const Names m_shop{"Shop"};

  ActiveEndpoint idle_endpoint(const Names& names) { return endpoints().create(core(), *id_of(names), "orb"); }
  // Who answers for the listed POAs then is the thread alone: nobody has activated them.
  void activate_by(QZ_POA_PersistentServer::EndpointActivator_ptr activator, const std::vector<Names>& poas) {
    QZ_POA_PersistentServer::EndpointIdList ids;
    ids.length(static_cast<CORBA::ULong>(poas.size()));
    for (CORBA::ULong i = 0; i < ids.length(); ++i) ids[i] = *id_of(poas[i]);
    EndpointActivatorThread::start(core(), activator, ids, *find_orb("orb"));
  }
};

TEST_F(ActiveWorkersTest, EveryRequestOfEveryListedPoaGetsTheOutcomeOfAFailedActivation) {
  start();
  idle_endpoint(m_bank);
  idle_endpoint(m_shop);
  idle_endpoint({"Unlisted"});
  std::vector<std::shared_ptr<FakeRequest>> waiting;
  for (const Names& poa : {m_bank, m_bank, m_shop, m_shop}) waiting.push_back(send_to(poa));
  const auto other = send_to({"Unlisted"});
  TestActivator* servant = nullptr;
  activate_by(
      make_activator(servant,
                     [](const auto&) { throw QZ_POA_PersistentServer::EndpointActivator::EndpointNonExistent(); }),
      {m_bank, {"Unknown"}, m_shop});
  for (const auto& request : waiting) {
    EXPECT_EQ(request->wait().exception, "OBJECT_NOT_EXIST");
    EXPECT_EQ(request->outcome().minor, 0x515A0C06u);
    EXPECT_TRUE(request->outcome().completed_no);
  }
  EXPECT_THAT(servant->calls(), ElementsAre(ElementsAre(m_bank, Names{"Unknown"}, m_shop)));
  EXPECT_TRUE(support::wait_until([&] { return endpoints().number_of_entries() == 1; }));
  EXPECT_FALSE(other->answered());
  EXPECT_TRUE(find({"Unknown"}).is_null());
}

TEST_F(ActiveWorkersTest, WithoutAnActivatorEveryListedPoaIsTransient) {
  start();
  idle_endpoint(m_bank);
  idle_endpoint(m_shop);
  const auto bank = send_to(m_bank);
  const auto shop = send_to(m_shop);
  activate_by(QZ_POA_PersistentServer::EndpointActivator::_nil(), {m_bank, m_shop});
  for (const auto& request : {bank, shop}) {
    EXPECT_EQ(request->wait().exception, "TRANSIENT");
    EXPECT_EQ(request->outcome().minor, 0x515A0C04u);
    EXPECT_TRUE(request->outcome().completed_no);
  }
}

TEST_F(ActiveWorkersTest, EachCopyOfARequestIsFreedOnceItIsAnswered) {
  start();
  const auto key = std::make_shared<CORBA::OctetSeq>(octet_seq(key_of(m_bank)));
  ThrowingRequest request;
  request.m_object_key = [key] { return key.get(); };
  const long without_copies = key.use_count();

  ActiveEndpoint endpoint = idle_endpoint(m_bank);
  for (int i = 0; i < 3; ++i) endpoint.handle_request(request);
  EXPECT_EQ(key.use_count(), without_copies + 3);
  add(m_bank, "orb");
  EXPECT_TRUE(support::wait_until([&] { return key.use_count() <= without_copies; }));
  EXPECT_EQ(key.use_count(), without_copies);

  remove(m_bank, "orb");
  endpoint = idle_endpoint(m_bank);
  for (int i = 0; i < 3; ++i) endpoint.handle_request(request);
  EXPECT_EQ(key.use_count(), without_copies + 3);
  endpoint.destroy();
  EXPECT_EQ(key.use_count(), without_copies);
}

}  // namespace
