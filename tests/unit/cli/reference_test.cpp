#include "cli/reference.h"

#include <gtest/gtest.h>

#include "cli/failure.h"
#include "cli/text.h"

namespace {

using poaloc::Failure;
using poaloc::Octets;
using poaloc::parse_ior;

// Type id "IDL:T:1.0", an IIOP 1.2 profile with one component, and a profile of unknown kind.
const std::string IOR =
    "IOR:010000000a00000049444c3a543a312e30000000"
    "02000000"
    "000000003800000001010200"
    "0a0000003132372e302e302e3100f90a"
    "0800000000000002515000ff"
    "01000000010000000c00000001000000000000000000ffff"
    "2a000000020000000102";

std::string tampered(std::size_t octet, unsigned char value) {
  Octets octets = poaloc::from_hex(IOR.substr(4));
  octets[octet] = value;
  return "IOR:" + poaloc::to_hex(octets);
}

TEST(ReferenceTest, IsTakenApart) {
  const auto reference = parse_ior(IOR);
  EXPECT_EQ(reference.type_id, "IDL:T:1.0");
  ASSERT_EQ(reference.profiles.size(), 2U);
  const auto* profile = reference.keyed();
  ASSERT_EQ(profile, &reference.profiles[0]);
  EXPECT_EQ(profile->version, "1.2");
  EXPECT_EQ(profile->host, "127.0.0.1");
  EXPECT_EQ(profile->port, 2809U);
  EXPECT_EQ(profile->object_key, (Octets{0, 0, 0, 2, 'Q', 'P', 0, 0xff}));
  ASSERT_EQ(profile->components.size(), 1U);
  EXPECT_EQ(profile->components[0].tag, 1U);
  EXPECT_FALSE(reference.profiles[1].iiop);
  EXPECT_EQ(reference.profiles[1].tag, 42U);
  EXPECT_EQ(reference.profiles[1].data, (Octets{1, 2}));
}

TEST(ReferenceTest, CutAnywhereIsRefused) {
  for (std::size_t size = 4; size < IOR.size(); ++size) EXPECT_THROW(parse_ior(IOR.substr(0, size)), Failure) << size;
}

// Whatever somebody changed: it is a reference, or it is refused.
TEST(ReferenceTest, AnyOctetMayBeHostile) {
  const std::size_t octets = (IOR.size() - 4) / 2;
  for (std::size_t octet = 0; octet < octets; ++octet) {
    for (const unsigned char value : {0x00, 0x01, 0x02, 0x7f, 0x80, 0xff}) {
      try {
        const auto json = poaloc::to_line(to_json(parse_ior(tampered(octet, value))));
        EXPECT_EQ(json.find("{\"type_id\":"), 0U);
      } catch (const Failure& failure) {
        EXPECT_EQ(failure.code(), poaloc::USAGE);
      }
    }
  }
}

TEST(ReferenceTest, ProfileOfAnotherVersionIsShownAsItIs) {
  // The profile's major version.
  const auto reference = parse_ior(tampered(33, 2));
  ASSERT_EQ(reference.profiles.size(), 2U);
  EXPECT_FALSE(reference.profiles[0].iiop);
  EXPECT_EQ(reference.keyed(), nullptr);
  EXPECT_EQ(to_json(reference)["profiles"][0]["profile"], "TAG_INTERNET_IOP");
}

TEST(ReferenceTest, ManyProfilesThatAreNotThereTakeNoMemory) {
  EXPECT_THROW(parse_ior("IOR:0100000001000000000000ffffffffff"), Failure);
}

TEST(PersistentKeyTest, TellsDomainPoaAndObject) {
  const std::string text("\0\0\0\2QP\0\0\0\4test\0\0\0\7Bank\0A\0obj", 28);
  const auto key = poaloc::parse_persistent_key(Octets(text.begin(), text.end()));
  ASSERT_TRUE(key);
  EXPECT_EQ(key->domain, "test");
  ASSERT_EQ(key->poa.length(), 2U);
  EXPECT_STREQ(key->poa[0], "Bank");
  EXPECT_STREQ(key->poa[1], "A");
  EXPECT_EQ(key->object_id, (Octets{'o', 'b', 'j'}));
}

TEST(PersistentKeyTest, OtherKeysAreNone) {
  const std::string text("\0\0\0\2QP\0\0\0\4test\0\0\0\7Bank\0A\0", 25);
  const Octets whole(text.begin(), text.end());
  EXPECT_TRUE(poaloc::parse_persistent_key(whole));
  for (std::size_t size = 0; size < whole.size(); ++size)
    EXPECT_FALSE(poaloc::parse_persistent_key({whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)}));
  Octets other = whole;
  other[5] = 'X';
  EXPECT_FALSE(poaloc::parse_persistent_key(other));
  other = whole;
  other[0] = 0xff;
  EXPECT_FALSE(poaloc::parse_persistent_key(other));
}

}  // namespace
