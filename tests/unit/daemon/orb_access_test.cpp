#include <gmock/gmock.h>

#include <qz_locator_internal.hh>

#include "daemon/orb_access.h"

namespace {

using namespace poalocd;
using testing::ElementsAre;
using testing::Pair;

const std::vector<int> SERVER{QZ_LocatorInternal::ROLE_SERVER};
const std::vector<int> ADMINISTRATOR{QZ_LocatorInternal::ROLE_ADMINISTRATOR};
const std::vector<int> BOTH{QZ_LocatorInternal::ROLE_SERVER, QZ_LocatorInternal::ROLE_ADMINISTRATOR};
constexpr const char* KEY = "some object's key";

TEST(OrbAccess, LooksAtWhereARequestCameIn) {
  const OrbAccess access({{{"127.0.0.1", 1}, BOTH, ""}, {{"10.0.0.1", 1}, SERVER, ""}, {{"0.0.0.0", 2}, BOTH, ""}});
  EXPECT_TRUE(access.admits("giop:tcp:127.0.0.1:1", KEY));
  EXPECT_FALSE(access.admits("giop:tcp:10.0.0.1:1", KEY));
  // A listener on every address.
  EXPECT_TRUE(access.admits("giop:tcp:10.0.0.1:2", KEY));
  EXPECT_TRUE(access.admits("giop:tcp:[::ffff:10.0.0.1]:2", KEY));
}

TEST(OrbAccess, AdmitsNobodyWhereItListensNot) {
  const OrbAccess access({{{"127.0.0.1", 1}, BOTH, ""}, {{"127.0.0.1", 2}, BOTH, ""}});
  for (const char* address : {"", "giop:tcp:127.0.0.1:3", "giop:tcp:127.0.0.2:1", "giop:tcp:127.0.0.1:11"})
    EXPECT_FALSE(access.admits(address, KEY)) << address;
}

TEST(OrbAccess, KnowsNamesByTheirAddresses) {
  const OrbAccess access({{{"localhost", 1}, BOTH, ""}, {{"127.0.0.2", 1}, SERVER, ""}, {{"::1", 2}, BOTH, ""}});
  EXPECT_TRUE(access.admits("giop:tcp:127.0.0.1:1", KEY));
  EXPECT_TRUE(access.admits("giop:tcp:[::1]:2", KEY));
}

TEST(OrbAccess, OneListenerNeedsNoAddress) {
  EXPECT_TRUE(OrbAccess({{{"127.0.0.1", 0}, BOTH, ""}}).admits("giop:tcp:127.0.0.1:12345", KEY));
  EXPECT_FALSE(OrbAccess({{{"127.0.0.1", 0}, SERVER, ""}}).admits("giop:tcp:127.0.0.1:12345", KEY));
}

TEST(OrbAccess, ReferencesCarryAddressesForAdministrators) {
  EXPECT_THAT(OrbAccess({{{"127.0.0.1", 1}, BOTH, ""}}).orb_options(),
              ElementsAre(Pair("endPoint", "giop:tcp:127.0.0.1:1"), Pair("endPointPublish", "addr")));
  EXPECT_THAT(
      OrbAccess({{{"127.0.0.1", 1}, BOTH, "locator:9"}}).orb_options(),
      ElementsAre(Pair("endPointNoPublish", "giop:tcp:127.0.0.1:1"), Pair("endPointPublish", "giop:tcp:locator:9")));
  EXPECT_THAT(OrbAccess({{{"127.0.0.1", 1}, BOTH, ""}, {{"10.0.0.1", 1}, SERVER, ""}}).orb_options(),
              ElementsAre(Pair("endPoint", "giop:tcp:127.0.0.1:1"), Pair("endPointNoPublish", "giop:tcp:10.0.0.1:1"),
                          Pair("endPointPublish", "addr")));
  // What only this machine reaches is left out where others are to come in.
  EXPECT_THAT(
      OrbAccess({{{"::1", 1}, BOTH, ""}, {{"10.0.0.1", 1}, ADMINISTRATOR, "locator:9"}}).orb_options(),
      ElementsAre(Pair("endPointNoPublish", "giop:tcp:[::1]:1"), Pair("endPointNoPublish", "giop:tcp:10.0.0.1:1"),
                  Pair("endPointPublish", "giop:tcp:locator:9")));
}

}  // namespace
