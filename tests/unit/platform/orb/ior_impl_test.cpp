#include "platform/orb/ior_impl.h"

#include <gtest/gtest.h>

#include <bit>
#include <random>
#include <string>
#include <vector>

#include "platform/orb/cdr_reader.h"
#include "platform/orb/cdr_writer.h"
#include "platform/orb/iiop_profile.h"
#include "tests/support/test_orb.h"

namespace {

using QZ_IOR::IOREndpointImpl;
using QZ_IOR::IORImpl;
using Octets = std::vector<unsigned char>;

constexpr bool NATIVE_LITTLE = std::endian::native == std::endian::little;

Octets octets_of(const std::string& text) {
  return {text.begin(), text.end()};
}
Octets octets_of(std::span<const unsigned char> octets) {
  return {octets.begin(), octets.end()};
}

// An IIOP profile of the given key, big-endian, with a component of unknown tag after it.
Octets iiop_body(const std::string& host, const std::string& key) {
  Octets body;
  QZ_CORBA::CdrWriter writer(body, false);
  for (const std::uint8_t octet : {0, 1, 2}) writer.write_octet(octet);
  writer.write_string(host);
  writer.write_ushort(4711);
  writer.write_octet_seq(octets_of(key));
  writer.write_ulong(1);
  writer.write_ulong(0x51510001);
  writer.write_octet_seq(octets_of("component"));
  return body;
}

struct TaggedProfile {
  std::uint32_t tag;
  Octets body;
};

Octets ior_octets(bool little_endian, const std::string& type_id, const std::vector<TaggedProfile>& profiles) {
  Octets out;
  QZ_CORBA::CdrWriter writer(out, little_endian);
  writer.write_string(type_id);
  writer.write_ulong(static_cast<std::uint32_t>(profiles.size()));
  for (const auto& profile : profiles) {
    writer.write_ulong(profile.tag);
    writer.write_octet_seq(profile.body);
  }
  return out;
}

// Two addresses, several components and a profile of an unknown kind.
std::vector<TaggedProfile> many_profiles(const std::string& key) {
  return {{0, iiop_body("first", key)},
          {1, octets_of(std::string("\0\0\0\0\0\0\0\0", 8))},
          {0x51510002, octets_of("opaque")},
          {0, iiop_body("2001:db8::1", key)}};
}

Octets octets_of(const IORImpl& ior, bool little_endian = NATIVE_LITTLE) {
  Octets out;
  ior.append_to(out, little_endian);
  return out;
}

QZ_IOR::IOR_var parsed(const Octets& octets, bool little_endian = NATIVE_LITTLE) {
  return IORImpl::from_octets(octets, little_endian);
}
const IORImpl& impl(const QZ_IOR::IOR_var& ior) {
  return dynamic_cast<const IORImpl&>(*ior.operator->());
}

CORBA::OctetSeq sequence_of(const std::string& text) {
  CORBA::OctetSeq result;
  result.length(static_cast<CORBA::ULong>(text.size()));
  for (CORBA::ULong i = 0; i < result.length(); ++i) result[i] = static_cast<CORBA::Octet>(text[i]);
  return result;
}

QZ_IOR::IOREndpoint_var split(const QZ_IOR::IOR_var& ior) {
  CORBA::OctetSeq_var rest;
  QZ_IOR::IOREndpoint_var endpoint = ior->split(rest.out());
  EXPECT_EQ(rest->length(), 0u);
  return endpoint;
}

std::string stringified(CORBA::Object_ptr object) {
  CORBA::String_var text = test_orb::orb()->object_to_string(object);
  return text.in();
}

TEST(IORImpl, writes_the_octets_that_it_was_read_from) {
  for (const bool little_endian : {false, true}) {
    for (const std::string key : {"", "k", "ke", "key", "keys"}) {
      const Octets octets = ior_octets(little_endian, "IDL:Bank/Account:1.0", many_profiles(key));
      const QZ_IOR::IOR_var ior = parsed(octets, little_endian);
      EXPECT_EQ(octets_of(impl(ior), little_endian), octets);
    }
  }
}

TEST(ProfileList, grows_by_ever_more_at_once) {
  Octets packed;
  std::size_t growths = 0;
  for (int i = 0; i < 10'000; ++i) {
    const std::size_t before = packed.capacity();
    QZ_IOR::ProfileList::append(packed, {0x51510002, false, false, {}, {}, {}});
    if (packed.capacity() != before) ++growths;
  }
  EXPECT_LT(growths, 50u);
}

// As many as fit into the largest messages must not take long.
TEST(IORImpl, takes_time_in_proportion_to_its_profiles) {
  std::vector<TaggedProfile> profiles(200'000, {0x51510002, {}});
  profiles.push_back({0, iiop_body("server.example", "key")});
  const Octets octets = ior_octets(NATIVE_LITTLE, "IDL:A:1.0", profiles);
  const QZ_IOR::IOR_var ior = parsed(octets);
  EXPECT_EQ(octets_of(impl(ior)), octets);

  profiles.back().body = iiop_body("server.example", "key and more");
  const QZ_IOR::IOR_var longer = split(ior)->make_ior(sequence_of(" and more"), "IDL:A:1.0");
  const QZ_IOR::IOR_var split_again = split(longer)->make_ior({}, "IDL:A:1.0");
  EXPECT_EQ(octets_of(impl(split_again)), ior_octets(NATIVE_LITTLE, "IDL:A:1.0", profiles));
}

TEST(IORImpl, can_be_read_in_one_byte_order_and_written_in_the_other) {
  const QZ_IOR::IOR_var ior = parsed(ior_octets(false, "IDL:A:1.0", many_profiles("key")), false);
  EXPECT_EQ(octets_of(impl(ior), true), ior_octets(true, "IDL:A:1.0", many_profiles("key")));
}

TEST(IORImpl, tells_type_id_and_object_key) {
  const QZ_IOR::IOR_var ior = parsed(ior_octets(NATIVE_LITTLE, "IDL:A:1.0", many_profiles("the key")));
  const CORBA::String_var type_id = ior->type_id();
  EXPECT_STREQ(type_id, "IDL:A:1.0");
  EXPECT_EQ(impl(ior).object_key(), octets_of("the key"));
}

TEST(IORImpl, appends_the_same_whatever_is_there_already) {
  const QZ_IOR::IOR_var ior = parsed(ior_octets(NATIVE_LITTLE, "IDL:A:1.0", many_profiles("key")));
  const Octets alone = octets_of(impl(ior));
  for (std::size_t before = 0; before < 9; ++before) {
    Octets out(before, 7);
    impl(ior).append_to(out, NATIVE_LITTLE);
    Octets expected(before, 7);
    expected.insert(expected.end(), alone.begin(), alone.end());
    EXPECT_EQ(out, expected) << before;
  }
}

TEST(IOREndpointImpl, makes_iors_whose_key_is_the_prefix_and_the_rest) {
  const QZ_IOR::IOR_var prototype = parsed(ior_octets(NATIVE_LITTLE, "IDL:A:1.0", many_profiles("prefix")));
  const QZ_IOR::IOREndpoint_var endpoint = split(prototype);
  for (const std::string rest : {"", "1", "12", "123", "1234", "a longer rest"}) {
    const QZ_IOR::IOR_var ior = endpoint->make_ior(sequence_of(rest), "IDL:B:1.0");
    EXPECT_EQ(impl(ior).object_key(), octets_of("prefix" + rest));
    EXPECT_EQ(octets_of(impl(ior)), ior_octets(NATIVE_LITTLE, "IDL:B:1.0", many_profiles("prefix" + rest)));
  }
}

TEST(IOREndpointImpl, of_a_made_ior_has_its_whole_key_as_prefix) {
  const QZ_IOR::IOR_var prototype = parsed(ior_octets(NATIVE_LITTLE, "", many_profiles("a")));
  const QZ_IOR::IOR_var longer = split(prototype)->make_ior(sequence_of("b"), "");
  const QZ_IOR::IOR_var longest = split(longer)->make_ior(sequence_of("c"), "");
  EXPECT_EQ(octets_of(impl(longest)), ior_octets(NATIVE_LITTLE, "", many_profiles("abc")));
}

TEST(IOREndpointImpl, outlives_the_ior_that_it_came_from) {
  QZ_IOR::IOR_var ior = parsed(ior_octets(NATIVE_LITTLE, "", many_profiles("prefix")));
  const QZ_IOR::IOREndpoint_var endpoint = split(ior);
  ior = QZ_IOR::IOR::_nil();
  const QZ_IOR::IOR_var made = endpoint->make_ior(sequence_of("!"), "");
  EXPECT_EQ(impl(made).object_key(), octets_of("prefix!"));
}

TEST(IOREndpointImpl, keeps_the_type_id_empty_when_asked) {
  const QZ_IOR::IOR_var prototype = parsed(ior_octets(NATIVE_LITTLE, "IDL:A:1.0", many_profiles("prefix")));
  const QZ_IOR::IOR_var ior = split(prototype)->make_ior(sequence_of("x"), "");
  const CORBA::String_var type_id = ior->type_id();
  EXPECT_STREQ(type_id, "");
}

TEST(IORImpl, cannot_be_split_when_no_profile_has_an_object_key) {
  const QZ_IOR::IOR_var ior = parsed(ior_octets(NATIVE_LITTLE, "IDL:A:1.0", {{0x51510002, octets_of("opaque")}}));
  CORBA::OctetSeq_var rest;
  EXPECT_THROW(ior->split(rest.out()), CORBA::INV_OBJREF);
  EXPECT_TRUE(impl(ior).object_key().empty());
}

TEST(IORImpl, refuses_octets_that_are_no_reference) {
  EXPECT_THROW(parsed({}), CORBA::MARSHAL);
  EXPECT_THROW(parsed(ior_octets(NATIVE_LITTLE, "IDL:A:1.0", {})), CORBA::INV_OBJREF);
  EXPECT_THROW(parsed(ior_octets(NATIVE_LITTLE, "", {{0, octets_of("no profile")}})), CORBA::MARSHAL);

  const Octets whole = ior_octets(NATIVE_LITTLE, "IDL:A:1.0", many_profiles("key"));
  for (std::size_t size = 0; size < whole.size(); ++size) {
    const Octets cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
    EXPECT_THROW(parsed(cut), CORBA::MARSHAL) << size;
  }
}

TEST(IORImpl, survives_damaged_octets) {
  test_orb::orb();
  const Octets whole = ior_octets(NATIVE_LITTLE, "IDL:A:1.0", many_profiles("key"));
  std::mt19937 random(1);
  unsigned refused = 0;
  for (int round = 0; round < 20000; ++round) {
    Octets damaged = whole;
    for (int i = 0; i < 3; ++i) damaged[random() % damaged.size()] = static_cast<unsigned char>(random());
    try {
      const QZ_IOR::IOR_var ior = parsed(damaged);
      const CORBA::Object_var object = QZ_IOR::to_object(ior);
    } catch (const CORBA::MARSHAL&) {
      ++refused;
    } catch (const CORBA::INV_OBJREF&) {
      ++refused;
    }
  }
  EXPECT_GT(refused, 0u);
  EXPECT_LT(refused, 20000u);
}

TEST(IorConversion, keeps_everything_of_a_reference_through_the_orb) {
  test_orb::orb();
  const Octets octets = ior_octets(NATIVE_LITTLE, "IDL:Bank/Account:1.0", many_profiles("a key"));
  const CORBA::Object_var object = QZ_IOR::to_object(parsed(octets));
  const QZ_IOR::IOR_var back = QZ_IOR::from_object(object);
  EXPECT_EQ(octets_of(impl(back)), octets);
}

TEST(IorConversion, agrees_with_the_orb_on_its_own_references) {
  CORBA::Object_var object = test_orb::root_poa()->create_reference("IDL:Bank/Account:1.0");
  const QZ_IOR::IOR_var ior = QZ_IOR::from_object(object);
  const CORBA::String_var type_id = ior->type_id();
  EXPECT_STREQ(type_id, "IDL:Bank/Account:1.0");
  CORBA::Object_var back = QZ_IOR::to_object(ior);
  EXPECT_TRUE(object->_is_equivalent(back));
  EXPECT_EQ(stringified(back), stringified(object));
}

TEST(IorConversion, takes_the_orbs_stringified_references_apart) {
  CORBA::Object_var object = test_orb::orb()->string_to_object("corbaloc::1.2@bank.example:2809/Some%20Key");
  const QZ_IOR::IOR_var ior = QZ_IOR::from_object(object);
  EXPECT_EQ(impl(ior).object_key(), octets_of("Some Key"));
}

TEST(IorConversion, maps_nil_to_nil) {
  EXPECT_EQ(QZ_IOR::from_object(CORBA::Object::_nil()), nullptr);
  CORBA::Object_var object = QZ_IOR::to_object(QZ_IOR::IOR::_nil());
  EXPECT_TRUE(CORBA::is_nil(object));
}

TEST(IorConversion, refuses_objects_of_this_process_alone) {
  const QZ_IOR::IOR_var ior = parsed(ior_octets(NATIVE_LITTLE, "", many_profiles("key")));
  EXPECT_THROW(QZ_IOR::from_object(ior.in()), CORBA::MARSHAL);
}

TEST(IOREndpointImpl, of_addresses_has_them_all_and_the_key_prefix) {
  const Octets prefix = octets_of("prefix");
  QZ_IOR::IOREndpoint_var endpoint =
      IOREndpointImpl::of_addresses({{"one.example", 2809}, {"two.example", 2810}, {"::1", 65535}}, prefix);
  const QZ_IOR::IOR_var ior = endpoint->make_ior(sequence_of("/id"), "IDL:A:1.0");
  ASSERT_EQ(impl(ior).endpoint().profiles().size(), 1u);

  Octets octets = octets_of(impl(ior));
  const std::size_t body_offset = 4 + 10 + 2 + 4 + 4 + 4;
  const QZ_IOR::IIOPProfile profile(std::span(octets).subspan(body_offset));
  EXPECT_EQ(profile.minor(), 2);
  EXPECT_EQ(profile.host(), "one.example");
  EXPECT_EQ(profile.port(), 2809);
  EXPECT_EQ(octets_of(profile.object_key()), octets_of("prefix/id"));
  std::vector<std::pair<std::string, int>> alternates;
  bool has_code_sets = false;
  for (const auto& component : profile.components()) {
    has_code_sets |= component.tag == QZ_IOR::TAG_CODE_SETS;
    if (component.tag != QZ_IOR::TAG_ALTERNATE_IIOP_ADDRESS) continue;
    auto reader = QZ_CORBA::CdrReader::encapsulation(component.data);
    const std::string host(reader.read_string());
    alternates.emplace_back(host, reader.read_ushort());
  }
  EXPECT_TRUE(has_code_sets);
  EXPECT_EQ(alternates, (std::vector<std::pair<std::string, int>>{{"two.example", 2810}, {"::1", 65535}}));

  test_orb::orb();
  CORBA::Object_var object = QZ_IOR::to_object(ior);
  const QZ_IOR::IOR_var back = QZ_IOR::from_object(object);
  EXPECT_EQ(octets_of(impl(back)), octets);
}

TEST(IOREndpointImpl, needs_an_address) {
  EXPECT_THROW(IOREndpointImpl::of_addresses({}, {}), CORBA::BAD_PARAM);
}

}  // namespace
