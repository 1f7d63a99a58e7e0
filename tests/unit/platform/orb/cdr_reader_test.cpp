#include "platform/orb/cdr_reader.h"

#include <gtest/gtest.h>

#include <vector>

#include "platform/orb/cdr_writer.h"

namespace {

using QZ_CORBA::CdrError;
using QZ_CORBA::CdrReader;
using Octets = std::vector<unsigned char>;

TEST(CdrReader, reads_numbers_in_both_byte_orders) {
  const Octets octets{1, 2, 3, 4, 5, 6, 7, 8};
  EXPECT_EQ(CdrReader(octets, false).read_ushort(), 0x0102);
  EXPECT_EQ(CdrReader(octets, true).read_ushort(), 0x0201);
  EXPECT_EQ(CdrReader(octets, false).read_ulong(), 0x01020304u);
  EXPECT_EQ(CdrReader(octets, true).read_ulong(), 0x04030201u);
  EXPECT_EQ(CdrReader(octets, false).read_ulonglong(), 0x0102030405060708u);
  EXPECT_EQ(CdrReader(octets, true).read_ulonglong(), 0x0807060504030201u);
}

TEST(CdrReader, aligns_numbers_from_the_first_octet) {
  const Octets octets{9, 0, 0, 7, 0, 0, 0, 5, 3};
  CdrReader reader(octets, false);
  EXPECT_EQ(reader.read_octet(), 9);
  EXPECT_EQ(reader.read_ushort(), 7);
  EXPECT_EQ(reader.read_ulong(), 5u);
  EXPECT_EQ(reader.position(), 8u);
  EXPECT_EQ(reader.remaining(), 1u);

  CdrReader later(octets, false, 1);
  EXPECT_EQ(later.read_ulong(), 5u);
}

TEST(CdrReader, reads_an_encapsulation_in_its_own_byte_order) {
  const Octets octets{0, 0, 0, 8, 1, 0, 0, 0, 7, 0, 0, 0, 0, 0, 0, 6};
  CdrReader outer(octets, false);
  CdrReader inner = outer.read_encapsulation();
  EXPECT_TRUE(inner.little_endian());
  EXPECT_EQ(inner.read_ulong(), 7u);
  EXPECT_EQ(inner.remaining(), 0u);
  EXPECT_EQ(outer.read_ulong(), 6u);
}

TEST(CdrReader, reads_strings_without_their_nul) {
  const Octets octets{0, 0, 0, 3, 'a', 'b', 0, 0, 0, 0, 0, 1, 0};
  CdrReader reader(octets, false);
  EXPECT_EQ(reader.read_string(), "ab");
  EXPECT_EQ(reader.read_string(), "");
  EXPECT_EQ(reader.remaining(), 0u);
}

TEST(CdrReader, takes_a_string_of_no_octets_as_empty) {
  const Octets octets{0, 0, 0, 0};
  EXPECT_EQ(CdrReader(octets, false).read_string(), "");
}

TEST(CdrReader, refuses_strings_without_a_nul_at_their_end_alone) {
  const Octets unterminated{0, 0, 0, 2, 'a', 'b'};
  const Octets inside{0, 0, 0, 3, 'a', 0, 0};
  EXPECT_THROW(CdrReader(unterminated, false).read_string(), CdrError);
  EXPECT_THROW(CdrReader(inside, false).read_string(), CdrError);
}

TEST(CdrReader, refuses_to_read_beyond_the_end) {
  const Octets three{1, 2, 3};
  CdrReader reader(three, false);
  EXPECT_THROW(reader.read_ulong(), CdrError);
  EXPECT_EQ(reader.position(), 0u);
  EXPECT_THROW(reader.skip(4), CdrError);
  EXPECT_THROW(reader.read_octets(4), CdrError);
  EXPECT_NO_THROW(reader.skip(3));
  EXPECT_THROW(reader.read_octet(), CdrError);
  EXPECT_THROW(reader.align(2), CdrError);
  EXPECT_THROW(CdrReader(three, false, 4), CdrError);
}

TEST(CdrReader, refuses_lengths_that_the_octets_do_not_hold) {
  const Octets huge{0xff, 0xff, 0xff, 0xff, 1, 2, 3, 4};
  EXPECT_THROW(CdrReader(huge, false).read_octet_seq(), CdrError);
  EXPECT_THROW(CdrReader(huge, false).read_string(), CdrError);
  EXPECT_THROW(CdrReader(huge, false).read_encapsulation(), CdrError);
}

TEST(CdrReader, refuses_byte_orders_and_booleans_other_than_0_and_1) {
  const Octets octets{2};
  EXPECT_THROW(CdrReader::encapsulation(octets), CdrError);
  EXPECT_THROW(CdrReader(octets, false).read_boolean(), CdrError);
  EXPECT_THROW(CdrReader::encapsulation({}), CdrError);
}

TEST(CdrWriter, writes_what_the_reader_reads_in_both_byte_orders) {
  for (const bool little_endian : {false, true}) {
    Octets octets{1, 2, 3};  // what was there before stays out of the alignment
    QZ_CORBA::CdrWriter writer(octets, little_endian);
    writer.write_octet(4);
    writer.write_ushort(0x0506);
    writer.write_string("seven");
    writer.write_ulong(0x08090a0b);
    writer.write_octet_seq(Octets{0xc, 0xd});

    CdrReader reader(std::span(octets).subspan(3), little_endian);
    EXPECT_EQ(reader.read_octet(), 4);
    EXPECT_EQ(reader.read_ushort(), 0x0506);
    EXPECT_EQ(reader.read_string(), "seven");
    EXPECT_EQ(reader.read_ulong(), 0x08090a0bu);
    const auto last = reader.read_octet_seq();
    EXPECT_EQ(Octets(last.begin(), last.end()), (Octets{0xc, 0xd}));
    EXPECT_EQ(reader.remaining(), 0u);
    EXPECT_EQ(writer.position(), octets.size() - 3);
  }
}

}  // namespace
