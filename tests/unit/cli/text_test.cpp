#include "cli/text.h"

#include <gtest/gtest.h>

#include <clocale>

#include "cli/failure.h"
#include "cli/poa_name.h"

namespace {

using poaloc::display_width;
using poaloc::printable;

class TextTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_NE(std::setlocale(LC_CTYPE, "C.UTF-8"), nullptr); }
  void TearDown() override { std::setlocale(LC_CTYPE, "C"); }
};

TEST_F(TextTest, WhatATerminalWouldObeyIsWrittenOut) {
  EXPECT_EQ(printable("Größe 漢字 a\\b"), "Größe 漢字 a\\b");
  EXPECT_EQ(printable("a\nb\t\033[2J\x7f"), "a\\nb\\x09\\x1b[2J\\x7f");
  EXPECT_EQ(printable(std::string("a\0b", 3)), "a\\x00b");
  EXPECT_EQ(printable("\u0085\u009b\u2028"), "\\xc2\\x85\\xc2\\x9b\\xe2\\x80\\xa8");
  EXPECT_EQ(printable("\u202e\u2066"), "\\xe2\\x80\\xae\\xe2\\x81\\xa6");
  EXPECT_EQ(printable("\u061c\u200e\u200f"), "\\xd8\\x9c\\xe2\\x80\\x8e\\xe2\\x80\\x8f");
}

TEST_F(TextTest, OctetsThatAreNoUtf8AreWrittenOut) {
  EXPECT_EQ(printable("\xff"), "\\xff");
  EXPECT_EQ(printable("a\xc3"), "a\\xc3");
  EXPECT_EQ(printable("\xc3(\xa9"), "\\xc3(\\xa9");
  EXPECT_EQ(printable("\xed\xa0\x80"), "\\xed\\xa0\\x80");
}

TEST_F(TextTest, WidthIsThatOfTheTerminal) {
  EXPECT_EQ(display_width("Bank"), 4U);
  EXPECT_EQ(display_width("Größe"), 5U);
  EXPECT_EQ(display_width("漢字"), 4U);
  EXPECT_EQ(display_width("e\u0301"), 1U);
  EXPECT_EQ(display_width("├── "), 4U);
  EXPECT_EQ(display_width("\xff\xfe"), 2U);
}

TEST_F(TextTest, DurationsGoBothWays) {
  for (const auto& [text, milliseconds] :
       std::map<std::string, unsigned>{{"500ms", 500}, {"30s", 30'000}, {"2m", 120'000}, {"1h", 3'600'000}, {"0", 0}}) {
    EXPECT_EQ(poaloc::parse_duration(text).count(), milliseconds);
    EXPECT_EQ(poaloc::duration_text(milliseconds), text);
  }
  EXPECT_EQ(poaloc::duration_text(90'000), "90s");
  for (const char* text : {"", "5", "s", "1.5s", "-1s", "1 s", "10000000000s", "99999999999999999999s"})
    EXPECT_THROW(poaloc::parse_duration(text), poaloc::Failure) << text;
}

TEST_F(TextTest, OctetsAreTextOnlyWhereNobodyCanTakeThemForHexadecimal) {
  EXPECT_EQ(poaloc::octets_text({'a', ' ', '~'}), "a ~");
  EXPECT_EQ(poaloc::octets_text({'a', 0x7f}), "0x617f");
  EXPECT_EQ(poaloc::octets_text({'0', 'x', '4', '1'}), "0x30783431");
  EXPECT_EQ(poaloc::octets_text({}), "");
}

TEST_F(TextTest, PoaNamesGoBothWays) {
  for (const char* text : {"/", "Bank", "Bank/Accounts", "a\\/b/c", "a\\\\b", " ", "\033"})
    EXPECT_EQ(poaloc::poa_name_text(poaloc::parse_poa_name(text)), text);
  const auto name = poaloc::parse_poa_name("a\\/b/c\\\\");
  ASSERT_EQ(name.length(), 2U);
  EXPECT_STREQ(name[0], "a/b");
  EXPECT_STREQ(name[1], "c\\");
  for (const char* text : {"", "//", "/a", "a/", "a//b", "a\\", "a\\b"})
    EXPECT_THROW(poaloc::parse_poa_name(text), poaloc::Failure) << text;
}

}  // namespace
