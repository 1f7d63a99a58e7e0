#include "platform/orb/iiop_profile.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/orb/cdr_reader.h"
#include "platform/orb/cdr_writer.h"

namespace {

using QZ_CORBA::CdrError;
using QZ_IOR::IIOPProfile;
using Octets = std::vector<unsigned char>;

Octets octets_of(const std::string& text) {
  return {text.begin(), text.end()};
}
Octets octets_of(IIOPProfile::Octets octets) {
  return {octets.begin(), octets.end()};
}

Octets profile_body(bool little_endian, std::uint8_t minor, const std::string& host, const std::string& key,
                    const std::vector<std::string>& components) {
  Octets body;
  QZ_CORBA::CdrWriter writer(body, little_endian);
  writer.write_octet(little_endian);
  writer.write_octet(1);
  writer.write_octet(minor);
  writer.write_string(host);
  writer.write_ushort(2809);
  writer.write_octet_seq(octets_of(key));
  if (minor == 0) return body;
  writer.write_ulong(static_cast<std::uint32_t>(components.size()));
  for (std::size_t i = 0; i < components.size(); ++i) {
    writer.write_ulong(static_cast<std::uint32_t>(100 + i));
    writer.write_octet_seq(octets_of(components[i]));
  }
  return body;
}

TEST(IIOPProfile, tells_address_key_and_components) {
  for (const bool little_endian : {false, true}) {
    const Octets body = profile_body(little_endian, 2, "bank.example", "key!5", {"abc", "", "12345"});
    const IIOPProfile profile(body);
    EXPECT_EQ(profile.little_endian(), little_endian);
    EXPECT_EQ(profile.major(), 1);
    EXPECT_EQ(profile.minor(), 2);
    EXPECT_EQ(profile.host(), "bank.example");
    EXPECT_EQ(profile.port(), 2809);
    EXPECT_EQ(octets_of(profile.object_key()), octets_of("key!5"));
    ASSERT_EQ(profile.components().size(), 3u);
    EXPECT_EQ(profile.components()[0].tag, 100u);
    EXPECT_EQ(octets_of(profile.components()[0].data), octets_of("abc"));
    EXPECT_TRUE(profile.components()[1].data.empty());
    EXPECT_EQ(octets_of(profile.components()[2].data), octets_of("12345"));
  }
}

TEST(IIOPProfile, gets_the_body_that_the_new_key_would_have_had) {
  for (const bool little_endian : {false, true}) {
    for (const std::string host : {"h", "ho", "hos", "host"}) {
      for (const std::string old_key : {"", "1", "12", "123", "1234"}) {
        for (const std::string new_key : {"", "a", "ab", "abc", "abcd", "a much longer key"}) {
          for (const std::uint8_t minor : {0, 1, 2}) {
            const std::vector<std::string> components{"x", "1234567"};
            const Octets body = profile_body(little_endian, minor, host, old_key, components);
            EXPECT_EQ(IIOPProfile(body).with_object_key(octets_of(new_key)),
                      profile_body(little_endian, minor, host, new_key, components));
          }
        }
      }
    }
  }
}

TEST(IIOPProfile, reads_a_body_that_ends_with_its_key) {
  const Octets body = profile_body(true, 0, "h", "key", {});
  EXPECT_TRUE(IIOPProfile(body).components().empty());
  Octets of_1_2 = body;
  of_1_2[2] = 2;
  EXPECT_TRUE(IIOPProfile(of_1_2).components().empty());
  EXPECT_EQ(IIOPProfile(of_1_2).with_object_key(octets_of("key")), of_1_2);
}

TEST(IIOPProfile, refuses_every_truncated_body) {
  const Octets body = profile_body(false, 2, "bank.example", "key!5", {"abc", "12345"});
  const std::size_t end_of_key = 4 + 4 + 13 + 1 + 2 + 4 + 5;
  for (std::size_t size = 0; size < body.size(); ++size) {
    if (size == end_of_key) continue;  // a body may end with its key
    const Octets cut(body.begin(), body.begin() + static_cast<std::ptrdiff_t>(size));
    EXPECT_THROW(IIOPProfile{cut}, CdrError) << size;
  }
}

TEST(IIOPProfile, refuses_other_major_versions) {
  Octets body = profile_body(true, 2, "h", "k", {});
  body[1] = 2;
  EXPECT_THROW(IIOPProfile{body}, CdrError);
}

TEST(IIOPProfile, refuses_more_components_than_there_are) {
  Octets body = profile_body(true, 2, "h", "keys", {});
  body[body.size() - 1] = 0xff;
  EXPECT_THROW(IIOPProfile{body}, CdrError);
}

}  // namespace
