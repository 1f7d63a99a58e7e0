// What clients are answered.
#include "tests/unit/platform/binding/front_door_test.h"

#include "platform/orb/iiop_profile.h"

namespace test {
namespace {

using QZ_Binding::DISPATCH_INLINE;
using QZ_Binding::DISPATCH_WORKER;

constexpr unsigned REPLY = 1;
constexpr unsigned LOCATE_REPLY = 4;

std::string key_of_forward(const Reply& reply) {
  auto reader = reply.contents();
  EXPECT_EQ(reader.read_string(), "IDL:Test:1.0");
  EXPECT_EQ(reader.read_ulong(), 1u);
  EXPECT_EQ(reader.read_ulong(), 0u);
  const QZ_IOR::IIOPProfile profile(reader.read_octet_seq());
  EXPECT_EQ(profile.host(), "server.example");
  EXPECT_EQ(profile.port(), 4711);
  return std::string(profile.object_key().begin(), profile.object_key().end());
}

class FrontDoorForms : public FrontDoorTest, public ::testing::WithParamInterface<std::tuple<int, bool, bool>> {
 protected:
  Request form(std::uint32_t id, const std::string& key) const {
    Request request;
    request.minor = static_cast<std::uint8_t>(std::get<0>(GetParam()));
    request.little_endian = std::get<1>(GetParam());
    request.locate = std::get<2>(GetParam());
    request.id = id;
    request.key = key;
    return request;
  }
  void expect_form(const Reply& reply) const {
    EXPECT_EQ(reply.minor, std::get<0>(GetParam()));
    EXPECT_EQ(reply.little_endian, std::get<1>(GetParam()));
    EXPECT_EQ(reply.type, std::get<2>(GetParam()) ? LOCATE_REPLY : REPLY);
  }
};

TEST_P(FrontDoorForms, ForwardGoesOutInTheFormOfTheRequest) {
  QZ_IOR::IOR_var target = ior_of("live");
  auto binding = bound(*manager, endpoint, DISPATCH_INLINE, [&](const Pending& p) { p.forward(target); });
  start();
  Client client(port());
  const Request asked = form(77, endpoint + "object");
  ASSERT_TRUE(client.send(request(asked)));
  const auto reply = client.receive();
  ASSERT_TRUE(reply);
  expect_form(*reply);
  EXPECT_EQ(reply->id(), 77u);
  EXPECT_EQ(reply->status(), asked.locate ? 2u : 3u);
  EXPECT_EQ(key_of_forward(*reply), "live");
}

TEST_P(FrontDoorForms, PermanentForwardIsSaidWhereTheVersionCan) {
  QZ_IOR::IOR_var target = ior_of("live");
  auto binding = bound(*manager, endpoint, DISPATCH_INLINE, [&](const Pending& p) { p.forward(target, true); });
  start();
  Client client(port());
  const Request asked = form(77, endpoint + "object");
  ASSERT_TRUE(client.send(request(asked)));
  const auto reply = client.receive();
  ASSERT_TRUE(reply);
  EXPECT_EQ(reply->status(), (asked.locate ? 2u : 3u) + (asked.minor == 2 ? 1u : 0u));
  EXPECT_EQ(key_of_forward(*reply), "live");
}

TEST_P(FrontDoorForms, SystemExceptionGoesOutInTheFormOfTheRequest) {
  auto binding = bound(*manager, endpoint, DISPATCH_WORKER,
                       [](const Pending& p) { p.refuse(CORBA::TRANSIENT(0x515A0C05, CORBA::COMPLETED_NO)); });
  start();
  Client client(port());
  const Request asked = form(5, endpoint + "object");
  ASSERT_TRUE(client.send(request(asked)));
  const auto reply = client.receive();
  ASSERT_TRUE(reply);
  expect_form(*reply);
  EXPECT_EQ(reply->id(), 5u);
  if (asked.locate && asked.minor < 2) {
    EXPECT_EQ(reply->status(), 1u) << "OBJECT_HERE";
    EXPECT_EQ(counters().locate_exceptions_as_here, 1u);
    return;
  }
  EXPECT_EQ(reply->status(), asked.locate ? 4u : 2u);
  EXPECT_EQ(reply->exception(), "IDL:omg.org/CORBA/TRANSIENT:1.0");
  EXPECT_EQ(reply->minor_code(), 0x515A0C05u);
}

TEST_P(FrontDoorForms, KeyThatLeadsNowhereDoesNotExist) {
  start();
  Client client(port());
  const Request asked = form(6, endpoint + "object");
  ASSERT_TRUE(client.send(request(asked)));
  const auto reply = client.receive();
  ASSERT_TRUE(reply);
  expect_form(*reply);
  if (asked.locate) {
    EXPECT_EQ(reply->status(), 0u) << "UNKNOWN_OBJECT";
    EXPECT_EQ(reply->octets.size(), 20u);
  } else {
    EXPECT_EQ(reply->exception(), "IDL:omg.org/CORBA/OBJECT_NOT_EXIST:1.0");
  }
}

INSTANTIATE_TEST_SUITE_P(All, FrontDoorForms,
                         ::testing::Combine(::testing::Values(0, 1, 2), ::testing::Bool(), ::testing::Bool()));

}  // namespace
}  // namespace test
