// The common view over requests and LocateRequests.
#include <gmock/gmock.h>

#include <span>

#include "platform/orb/ior_endpoint_impl.h"
#include "tests/unit/poa_locator/active_requests.h"
#include "tests/unit/poa_locator/imr_support.h"

namespace {

using testing::ElementsAre;

QZ_IOR::IOR_var some_ior() {
  const std::string key = "forwarded";
  const QZ_IOR::IOREndpoint_var endpoint = QZ_IOR::IOREndpointImpl::of_addresses(
      {{"127.0.0.1", 1}}, std::span(reinterpret_cast<const unsigned char*>(key.data()), key.size()));
  return endpoint->make_ior(CORBA::OctetSeq(), "");
}

class RequestView : public testing::TestWithParam<FakeRequest::Kind> {};

TEST_P(RequestView, GivesTheObjectKeyWithoutOwningIt) {
  FakeRequest request("a key", GetParam());
  const auto info = request.info();
  ASSERT_NE(info->object_key(), nullptr);
  EXPECT_EQ(octets(*info->object_key()), "a key");
  EXPECT_EQ(info->object_key(), info->object_key());
}

TEST_P(RequestView, GivesNullForARequestWithoutAKey) {
  FakeRequest request(GetParam());
  EXPECT_EQ(request.info()->object_key(), nullptr);
}

TEST_P(RequestView, AForwardIsNotPermanentAndCompletesTheRequest) {
  FakeRequest request("key", GetParam());
  request.info()->set_forward_ior(some_ior());
  const Outcome outcome = request.outcome();
  EXPECT_EQ(outcome.kind, Outcome::FORWARD);
  EXPECT_EQ(outcome.forwarded_key, "forwarded");
  EXPECT_EQ(outcome.outcomes, 1u);
  EXPECT_THAT(outcome.callbacks, ElementsAre("outcome_set", "finished"));
}

TEST_P(RequestView, AnExceptionIsHandedOnUnchangedAndCompletesTheRequest) {
  FakeRequest request("key", GetParam());
  request.info()->set_exception(CORBA::TRANSIENT(0x515A0C03, CORBA::COMPLETED_NO));
  const Outcome outcome = request.outcome();
  EXPECT_EQ(outcome.kind, Outcome::EXCEPTION);
  EXPECT_EQ(outcome.exception, "TRANSIENT");
  EXPECT_EQ(outcome.minor, 0x515A0C03u);
  EXPECT_TRUE(outcome.completed_no);
  EXPECT_THAT(outcome.callbacks, ElementsAre("outcome_set", "finished"));
}

TEST_P(RequestView, ACopyAnswersTheSameRequest) {
  FakeRequest request("key", GetParam());
  std::unique_ptr<RequestInfoBase> copy;
  {
    const auto info = request.info();
    EXPECT_NE(info->object_key(), nullptr);
    copy = info->copy();
  }
  ASSERT_NE(copy->object_key(), nullptr);
  EXPECT_EQ(copy->object_key()->get_buffer(), request.info()->object_key()->get_buffer());
  EXPECT_FALSE(request.answered());
  copy->set_forward_ior(some_ior());
  EXPECT_EQ(request.outcome().kind, Outcome::FORWARD);
  EXPECT_EQ(request.outcome().outcomes, 1u);
}

INSTANTIATE_TEST_SUITE_P(BothKinds, RequestView, testing::Values(FakeRequest::REQUEST, FakeRequest::LOCATE),
                         [](const auto& info) { return info.param == FakeRequest::REQUEST ? "Request" : "Locate"; });

TEST(RequestInfo, ObjectNotExistIsAnExceptionOfARequest) {
  FakeRequest request("key");
  request.info()->set_exception(CORBA::OBJECT_NOT_EXIST(0x515A0C04, CORBA::COMPLETED_NO));
  const Outcome outcome = request.outcome();
  EXPECT_EQ(outcome.kind, Outcome::EXCEPTION);
  EXPECT_EQ(outcome.exception, "OBJECT_NOT_EXIST");
  EXPECT_EQ(outcome.minor, 0x515A0C04u);
}

TEST(LocateRequestInfo, ObjectNotExistIsAnsweredWithUnknownObject) {
  FakeRequest request("key", FakeRequest::LOCATE);
  request.info()->set_exception(CORBA::OBJECT_NOT_EXIST(0x515A0C04, CORBA::COMPLETED_NO));
  const Outcome outcome = request.outcome();
  EXPECT_EQ(outcome.kind, Outcome::UNKNOWN_OBJECT);
  EXPECT_EQ(outcome.outcomes, 1u);
  EXPECT_THAT(outcome.callbacks, ElementsAre("outcome_set", "finished"));
}

}  // namespace
