#include "platform/binding/giop/message_encoder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/unit/platform/binding/giop_messages.h"

namespace test {
namespace {

using namespace QZ_Giop;
using ::testing::ElementsAreArray;

constexpr Version V10{1, 0}, V11{1, 1}, V12{1, 2};

// Octets from hexadecimal text and 'quoted' characters.
Octets hex(const std::string& text) {
  Octets out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\'') {
      for (++i; text[i] != '\''; ++i) out.push_back(static_cast<unsigned char>(text[i]));
    } else if (text[i] != ' ') {
      out.push_back(static_cast<unsigned char>(std::stoi(text.substr(i, 2), nullptr, 16)));
      ++i;
    }
  }
  return out;
}

Octets reply(const ReplyTo& to, ReplyStatus status, const Octets& body, Buffer out = {}) {
  const std::size_t start = begin_reply(out, to, status);
  out.insert(out.end(), body.begin(), body.end());
  end_message(out, start);
  return out;
}

Octets locate_reply(const ReplyTo& to, LocateStatus status, const Octets& body) {
  Buffer out;
  const std::size_t start = begin_locate_reply(out, to, status);
  out.insert(out.end(), body.begin(), body.end());
  end_message(out, start);
  return out;
}

Octets exception(const ReplyTo& to, bool locate = false) {
  Buffer out;
  const std::size_t start = locate ? begin_locate_reply(out, to, LocateStatus::LOC_SYSTEM_EXCEPTION)
                                   : begin_reply(out, to, ReplyStatus::SYSTEM_EXCEPTION);
  append_system_exception(out, start, to.little_endian, "IDL:X:1.0", 0x515A0C05, 1);
  end_message(out, start);
  return out;
}

TEST(MessageEncoder, PutsServiceContextsBeforeTheIdInOldReplies) {
  EXPECT_THAT(reply({V10, false, 0x01020304}, ReplyStatus::LOCATION_FORWARD, hex("aabbccdd")),
              ElementsAreArray(hex("'GIOP' 01 00 00 01 00000010  00000000 01020304 00000003 aabbccdd")));
  EXPECT_THAT(reply({V11, true, 0x01020304}, ReplyStatus::LOCATION_FORWARD, hex("aabbccdd")),
              ElementsAreArray(hex("'GIOP' 01 01 01 01 10000000  00000000 04030201 03000000 aabbccdd")));
}

TEST(MessageEncoder, PutsServiceContextsBehindTheStatusInGiop12) {
  EXPECT_THAT(reply({V12, false, 0x01020304}, ReplyStatus::LOCATION_FORWARD, hex("aabbccdd")),
              ElementsAreArray(hex("'GIOP' 01 02 00 01 00000010  01020304 00000003 00000000 aabbccdd")));
  EXPECT_THAT(reply({V12, true, 0x01020304}, ReplyStatus::LOCATION_FORWARD, hex("aabbccdd")),
              ElementsAreArray(hex("'GIOP' 01 02 01 01 10000000  04030201 03000000 00000000 aabbccdd")));
}

TEST(MessageEncoder, BeginsAReplysBodyAtEightOctetsInGiop12) {
  Buffer out;
  begin_reply(out, {V12, false, 1}, ReplyStatus::SYSTEM_EXCEPTION);
  EXPECT_EQ(out.size() % 8, 0u);
}

TEST(MessageEncoder, SaysPermanentForwardInGiop12Only) {
  const Octets body = hex("aabbccdd");
  EXPECT_EQ(reply({V10, false, 1}, ReplyStatus::LOCATION_FORWARD_PERM, body),
            reply({V10, false, 1}, ReplyStatus::LOCATION_FORWARD, body));
  EXPECT_EQ(reply({V11, false, 1}, ReplyStatus::LOCATION_FORWARD_PERM, body),
            reply({V11, false, 1}, ReplyStatus::LOCATION_FORWARD, body));
  EXPECT_THAT(reply({V12, false, 1}, ReplyStatus::LOCATION_FORWARD_PERM, body),
              ElementsAreArray(hex("'GIOP' 01 02 00 01 00000010  00000001 00000004 00000000 aabbccdd")));
  EXPECT_EQ(locate_reply({V11, false, 1}, LocateStatus::OBJECT_FORWARD_PERM, body),
            locate_reply({V11, false, 1}, LocateStatus::OBJECT_FORWARD, body));
  EXPECT_THAT(locate_reply({V12, false, 1}, LocateStatus::OBJECT_FORWARD_PERM, body),
              ElementsAreArray(hex("'GIOP' 01 02 00 04 0000000c  00000001 00000003 aabbccdd")));
}

TEST(MessageEncoder, WritesSystemExceptions) {
  const std::string body_big = "0000000a 'IDL:X:1.0' 00 0000 515a0c05 00000001";
  const std::string body_little = "0a000000 'IDL:X:1.0' 00 0000 050c5a51 01000000";
  EXPECT_THAT(exception({V10, false, 9}),
              ElementsAreArray(hex("'GIOP' 01 00 00 01 00000024  00000000 00000009 00000002" + body_big)));
  EXPECT_THAT(exception({V11, true, 9}),
              ElementsAreArray(hex("'GIOP' 01 01 01 01 24000000  00000000 09000000 02000000" + body_little)));
  EXPECT_THAT(exception({V12, false, 9}),
              ElementsAreArray(hex("'GIOP' 01 02 00 01 00000024  00000009 00000002 00000000" + body_big)));
  EXPECT_THAT(exception({V12, true, 9}, true),
              ElementsAreArray(hex("'GIOP' 01 02 01 04 20000000  09000000 04000000" + body_little)));
}

// The body of a LocateReply follows its header at once, also in GIOP 1.2.
TEST(MessageEncoder, WritesLocateReplies) {
  EXPECT_THAT(locate_reply({V10, false, 5}, LocateStatus::UNKNOWN_OBJECT, {}),
              ElementsAreArray(hex("'GIOP' 01 00 00 04 00000008  00000005 00000000")));
  EXPECT_THAT(locate_reply({V11, true, 5}, LocateStatus::OBJECT_HERE, {}),
              ElementsAreArray(hex("'GIOP' 01 01 01 04 08000000  05000000 01000000")));
  EXPECT_THAT(locate_reply({V12, true, 5}, LocateStatus::OBJECT_FORWARD, hex("aabbccdd")),
              ElementsAreArray(hex("'GIOP' 01 02 01 04 0c000000  05000000 02000000 aabbccdd")));
}

TEST(MessageEncoder, WritesMessagesWithoutBody) {
  Buffer out;
  append_message_error(out, V12, true);
  append_close_connection(out, V10, false);
  EXPECT_THAT(out, ElementsAreArray(hex("'GIOP' 01 02 01 06 00000000  'GIOP' 01 00 00 05 00000000")));
}

TEST(MessageEncoder, AlignsFromTheMessageWhateverStandsBefore) {
  for (const Version version : {V10, V11, V12}) {
    const ReplyTo to{version, true, 3};
    for (std::size_t before = 0; before < 9; ++before) {
      Buffer out(before, 'x');
      const std::size_t start = begin_reply(out, to, ReplyStatus::SYSTEM_EXCEPTION);
      append_system_exception(out, start, true, "IDL:X:1.0", 0x515A0C05, 1);
      end_message(out, start);
      out.erase(out.begin(), out.begin() + static_cast<std::ptrdiff_t>(before));
      EXPECT_EQ(out, exception(to));
    }
  }
}

}  // namespace
}  // namespace test
