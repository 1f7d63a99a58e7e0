#include "tests/support/locator_test.h"

namespace support {

void LocatorTest::TearDown() {
  if (m_locator.running()) m_locator.terminate();
  EXPECT_THAT(m_locator.standard_error(), ::testing::Not(::testing::HasSubstr("Sanitizer:")));
}

::testing::AssertionResult is_exception(const Reply& reply, const std::string& name, std::uint32_t minor) {
  const bool same = reply.exception && reply.exception->id == "IDL:omg.org/CORBA/" + name + ":1.0" &&
                    reply.exception->minor == minor && reply.exception->completed == 1;
  return (same ? ::testing::AssertionSuccess() : ::testing::AssertionFailure()) << describe(reply);
}

::testing::AssertionResult is_object_not_exist(const Reply& reply) {
  return is_exception(reply, "OBJECT_NOT_EXIST", reply.exception ? reply.exception->minor : 0);
}

::testing::AssertionResult is_forward(const Reply& reply, const std::string& host, unsigned port, const Octets& key) {
  const bool same =
      reply.forward && reply.forward->host == host && reply.forward->port == port && reply.forward->key == key;
  return (same ? ::testing::AssertionSuccess() : ::testing::AssertionFailure()) << describe(reply);
}

std::vector<RequestSpec> every_kind_of_request(const Octets& key) {
  std::vector<RequestSpec> specs;
  for (const unsigned minor : {0U, 1U, 2U}) {
    for (const ByteOrder order : {ByteOrder::BIG, ByteOrder::LITTLE}) {
      for (const Address address : {Address::KEY, Address::PROFILE, Address::REFERENCE}) {
        if (address != Address::KEY && minor < 2) continue;
        RequestSpec spec;
        spec.dialect = {minor, order};
        spec.id = static_cast<std::uint32_t>(1000 + specs.size());
        spec.key = key;
        spec.address = address;
        specs.push_back(spec);
      }
    }
  }
  return specs;
}

std::string name_of(const RequestSpec& spec) {
  const char* const addresses[] = {"key", "profile", "reference"};
  return name_of(spec.dialect) + " by " + addresses[static_cast<unsigned>(spec.address)];
}

}  // namespace support
