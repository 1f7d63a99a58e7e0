// The two interceptors: the domain's, and that of one endpoint.
#include <gmock/gmock.h>

#include <thread>

#include "platform/orb/exception_text.h"
#include "poa_locator/interceptors/endpoint_interceptor.h"
#include "poa_locator/interceptors/poa_loc_interceptor.h"
#include "tests/unit/poa_locator/active_fixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class InterceptorTest : public ActiveFixture {
 protected:
  const Names m_bank{"Bank"};

  // That of the whole domain.
  PoaLocInterceptor& domain() {
    const auto interceptor = interceptor_of(key_of({"Nobody's"}));
    return dynamic_cast<PoaLocInterceptor&>(*interceptor.in());
  }
  RefCountHandle<EndpointInterceptor> of_running_endpoint() {
    add(m_bank, "orb");
    return RefCountHandle<EndpointInterceptor>(new EndpointInterceptor(core(), find(m_bank)));
  }
  void expect_no_params(unsigned id) {
    ASSERT_THAT(log().events(id), SizeIs(1));
    EXPECT_EQ(log().events(id)[0].priority, 32u);
    EXPECT_THAT(log().events(id)[0].parameters, IsEmpty());
  }
  void expect_text(unsigned id, const CORBA::Exception& ex) {
    ASSERT_THAT(log().events(id), SizeIs(1));
    EXPECT_EQ(log().events(id)[0].priority, 32u);
    EXPECT_THAT(log().events(id)[0].parameters, ElementsAre(QZ_CORBA::to_string(ex)));
  }
};

TEST_F(InterceptorTest, TellTheirNamesAndAreTheLastOfTheirChains) {
  start();
  EXPECT_STREQ(CORBA::String_var(domain().name()), "POALocation");
  EXPECT_TRUE(CORBA::is_nil(QZ_Binding::ServerRequestInterceptor_var(domain().next_interceptor())));
  EXPECT_FALSE(CORBA::is_nil(CORBA::ORB_var(domain()._qz_get_orb())));
  const auto endpoint = of_running_endpoint();
  EXPECT_STREQ(CORBA::String_var(endpoint->name()), "POALocationEndpoint");
  EXPECT_TRUE(CORBA::is_nil(QZ_Binding::ServerRequestInterceptor_var(endpoint->next_interceptor())));
  EXPECT_FALSE(CORBA::is_nil(CORBA::ORB_var(endpoint->_qz_get_orb())));
}

TEST_F(InterceptorTest, TheDomainsTakesEveryPersistentKeyOfItsDomainAndNoOther) {
  start();
  EXPECT_FALSE(CORBA::is_nil(interceptor_of(key_of(m_bank))));
  EXPECT_FALSE(CORBA::is_nil(interceptor_of(key_of({}))));
  std::string foreign = key_of(m_bank);
  foreign[foreign.find(DOMAIN_NAME)] = 'T';
  EXPECT_TRUE(CORBA::is_nil(interceptor_of(foreign)));
}

TEST_F(InterceptorTest, TheDomainsWorksOnWorkersAndAnEndpointsInline) {
  start();
  add(m_bank, "orb");
  const auto dispatch_of = [this](const std::string& key) {
    return host()
        .binding_manager()
        .find_route(std::span(reinterpret_cast<const unsigned char*>(key.data()), key.size()))
        ->dispatch();
  };
  EXPECT_EQ(dispatch_of(key_of(m_bank)), QZ_Binding::DISPATCH_INLINE);
  EXPECT_EQ(dispatch_of(key_of({"Nobody's"})), QZ_Binding::DISPATCH_WORKER);
}

TEST_F(InterceptorTest, ARequestWithoutAKeyIsRefused) {
  start();
  FakeRequest none(FakeRequest::REQUEST);
  none.give_to(&domain());
  EXPECT_EQ(none.outcome().exception, "INV_OBJREF");
  EXPECT_EQ(none.outcome().minor, 0x515A0C01u);
  EXPECT_TRUE(none.outcome().completed_no);
  expect_text(19, CORBA::INV_OBJREF(0x515A0C01, CORBA::COMPLETED_NO));
  FakeRequest empty("");
  empty.give_to(&domain());
  EXPECT_EQ(empty.outcome().minor, 0x515A0C01u);
}

TEST_F(InterceptorTest, AKeyThatEndsWithinItsSegmentsIsRefused) {
  start();
  const std::string whole = key_of(m_bank, "");
  for (std::size_t length = 1; length < whole.size(); ++length) {
    FakeRequest cut(whole.substr(0, length));
    cut.give_to(&domain());
    EXPECT_EQ(cut.outcome().exception, "INV_OBJREF") << length;
    EXPECT_EQ(cut.outcome().outcomes, 1u);
  }
  EXPECT_EQ(endpoints().number_of_entries(), 0u);
}

TEST_F(InterceptorTest, ALengthThatPointsBeyondTheKeyIsRefused) {
  start();
  std::string key = key_of(m_bank);
  key[0] = static_cast<char>(0xFF);
  FakeRequest request(key);
  request.give_to(&domain());
  EXPECT_EQ(request.outcome().exception, "INV_OBJREF");
}

TEST_F(InterceptorTest, ARequestForAnUnknownPoaDoesNotExist) {
  start();
  const Outcome request = send_to(m_bank)->outcome();
  EXPECT_EQ(request.exception, "OBJECT_NOT_EXIST");
  EXPECT_EQ(request.minor, 0x515A0C04u);
  EXPECT_EQ(send_to(m_bank, "object", FakeRequest::LOCATE)->outcome().kind, Outcome::UNKNOWN_OBJECT);
  ASSERT_THAT(log().events(19), SizeIs(2));
}

TEST_F(InterceptorTest, AUserExceptionOnTheWayIsTransient) {
  start();
  ThrowingRequest request;
  request.m_object_key = []() -> const CORBA::OctetSeq* { throw CosPersistentState::NotFound(); };
  domain().impl_handle_request(request);
  EXPECT_EQ(request.m_exception, "TRANSIENT");
  EXPECT_EQ(request.m_minor, 0x515A0C05u);
  EXPECT_TRUE(request.m_completed_no);
  expect_text(19, CosPersistentState::NotFound());
}

TEST_F(InterceptorTest, AUserExceptionThatAnActiveEndpointLetsOutIsTransient) {
  start();
  add(m_bank, "orb");
  const CORBA::OctetSeq key = octet_seq(key_of(m_bank));
  unsigned asked = 0;
  ThrowingRequest request;
  request.m_object_key = [&]() -> const CORBA::OctetSeq* {
    if (asked++ != 0) throw CosPersistentState::NotFound();
    return &key;
  };
  domain().impl_handle_request(request);
  EXPECT_EQ(asked, 2u);
  EXPECT_EQ(request.m_exception, "TRANSIENT");
  EXPECT_EQ(request.m_minor, 0x515A0C05u);
  EXPECT_TRUE(request.m_completed_no);
}

TEST_F(InterceptorTest, RequestsForANewPoaThatComeAtTheSameTimeMakeOneEndpoint) {
  start();
  add_entry(m_bank, "orb");
  TestActivator* activator = nullptr;
  const auto reference = make_activator(activator);
  activator_registry()->add("orb", reference, QZ_POA_PersistentServer::EndpointIdList_var().out());
  std::vector<std::unique_ptr<FakeRequest>> requests;
  for (int i = 0; i < 8; ++i) requests.push_back(std::make_unique<FakeRequest>(key_of(m_bank)));
  const QZ_Binding::ServerRequestInterceptor_var of_domain = interceptor_of(key_of({"Nobody's"}));
  {
    std::vector<std::jthread> clients;
    for (const auto& request : requests) clients.emplace_back([&] { request->give_to(of_domain); });
  }
  EXPECT_EQ(endpoints().number_of_entries(), 1u);
  EXPECT_EQ(stored_endpoints(), 1u);
  EXPECT_EQ(find(m_bank).number_of_pending_requests(), requests.size());
  ASSERT_TRUE(support::wait_until([&] { return !activator->calls().empty(); }));
  EXPECT_THAT(activator->calls(), SizeIs(1));
  find(m_bank).destroy();
  for (const auto& request : requests) EXPECT_EQ(request->wait().outcomes, 1u);
}

TEST_F(InterceptorTest, AnUnknownExceptionOnTheWayIsUnknown) {
  start();
  ThrowingRequest request;
  request.m_object_key = []() -> const CORBA::OctetSeq* { throw 1; };
  domain().impl_handle_request(request);
  EXPECT_EQ(request.m_exception, "UNKNOWN");
  EXPECT_EQ(request.m_minor, 0x515A0C00u);
  EXPECT_TRUE(request.m_completed_no);
  expect_no_params(17);
}

TEST_F(InterceptorTest, TheDomainsHandsRequestsOfAnActiveEndpointToIt) {
  start();
  add(m_bank, "orb");
  FakeRequest request(key_of(m_bank));
  request.give_to(&domain());
  EXPECT_EQ(request.outcome().kind, Outcome::FORWARD);
  EXPECT_EQ(request.outcome().forwarded_key, server_key(m_bank) + "object");
}

TEST_F(InterceptorTest, ASystemExceptionOfAnEndpointGoesToTheClientUnchanged) {
  start();
  ThrowingRequest request;
  request.m_object_key = []() -> const CORBA::OctetSeq* { throw CORBA::NO_MEMORY(5, CORBA::COMPLETED_NO); };
  of_running_endpoint()->handle_request(request);
  EXPECT_EQ(request.m_exception, "NO_MEMORY");
  EXPECT_EQ(request.m_minor, 5u);
  expect_text(18, CORBA::NO_MEMORY(5, CORBA::COMPLETED_NO));
}

TEST_F(InterceptorTest, AUserExceptionOfAnEndpointIsUnknownToTheClient) {
  start();
  ThrowingRequest request;
  request.m_object_key = []() -> const CORBA::OctetSeq* { throw CosPersistentState::NotFound(); };
  of_running_endpoint()->handle_request(request);
  EXPECT_EQ(request.m_exception, "UNKNOWN");
  EXPECT_EQ(request.m_minor, 0x515A0C01u);
  EXPECT_TRUE(request.m_completed_no);
  expect_no_params(16);
}

TEST_F(InterceptorTest, AnyOtherExceptionOfAnEndpointIsUnknownToTheClient) {
  start();
  ThrowingRequest request;
  request.m_object_key = []() -> const CORBA::OctetSeq* { throw 1; };
  of_running_endpoint()->handle_request(request);
  EXPECT_EQ(request.m_exception, "UNKNOWN");
  EXPECT_EQ(request.m_minor, 0x515A0C01u);
  EXPECT_TRUE(request.m_completed_no);
  expect_no_params(16);
}

TEST_F(InterceptorTest, CallsThatComeWhenTheCoreHasGoneAreTransient) {
  start();
  add(m_bank, "orb");
  const auto of_domain = interceptor_of(key_of({"Nobody's"}));
  const auto of_endpoint = interceptor_of(key_of(m_bank));
  stop_host();
  core().impl_shutdown();
  m_core = {};
  for (const auto& interceptor : {of_domain, of_endpoint}) {
    FakeRequest request(key_of(m_bank));
    request.give_to(interceptor);
    EXPECT_EQ(request.outcome().exception, "TRANSIENT");
    EXPECT_EQ(request.outcome().minor, 0x515A0C03u);
  }
}

}  // namespace
