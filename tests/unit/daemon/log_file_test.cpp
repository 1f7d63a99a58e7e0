#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <qz_locator_admin.hh>
#include <string>

#include "daemon/admin/log_file.h"
#include "tests/support/files.h"
#include "tests/support/test_dir.h"

namespace {

using testing::HasSubstr;

class LogFileTest : public testing::Test {
 protected:
  // "TEXT NEXT"
  std::string read(CORBA::LongLong position, CORBA::ULong how_many = 1000) {
    CORBA::LongLong next = -1;
    const CORBA::OctetSeq_var octets = poalocd::read_log_file(m_file, position, how_many, next);
    return std::string(reinterpret_cast<const char*>(octets->get_buffer()), octets->length()) + " " +
           std::to_string(next);
  }
  std::string failure() {
    try {
      read(0);
    } catch (const QZ_LocatorAdmin::NoLog& e) {
      return e.reason.in();
    }
    return "none";
  }

  const support::TestDir m_dir;
  std::string m_file = m_dir.file("log");
};

TEST_F(LogFileTest, ReadsFromAPositionOn) {
  support::write_file(m_file, "0123456789");
  EXPECT_EQ(read(0), "0123456789 10");
  EXPECT_EQ(read(3, 4), "3456 7");
  EXPECT_EQ(read(7), "789 10");
  EXPECT_EQ(read(10), " 10");
  EXPECT_EQ(read(5, 0), " 5");
}

TEST_F(LogFileTest, CountsNegativePositionsFromTheEnd) {
  support::write_file(m_file, "0123456789");
  EXPECT_EQ(read(-3), "789 10");
  EXPECT_EQ(read(-10, 1), "0 1");
  EXPECT_EQ(read(-11), "0123456789 10");
  EXPECT_EQ(read(INT64_MIN), "0123456789 10");
}

TEST_F(LogFileTest, TakesAPositionBehindTheEndForTheEnd) {
  support::write_file(m_file, "begun anew");
  EXPECT_EQ(read(5'000'000'000), " 10");
  EXPECT_EQ(read(INT64_MAX), " 10");
}

TEST_F(LogFileTest, IsEmptyWhereThereIsNoFileYet) {
  EXPECT_EQ(read(0), " 0");
  EXPECT_EQ(read(-100), " 0");
  EXPECT_EQ(read(100), " 0");
}

TEST_F(LogFileTest, GivesLongFilesInPieces) {
  support::write_file(m_file, std::string(300'000, 'x'));
  CORBA::LongLong next = 0;
  const CORBA::OctetSeq_var first = poalocd::read_log_file(m_file, 0, 1'000'000, next);
  EXPECT_EQ(first->length(), 262'144U);
  const CORBA::OctetSeq_var second = poalocd::read_log_file(m_file, next, 1'000'000, next);
  EXPECT_EQ(second->length(), 300'000U - 262'144U);
  EXPECT_EQ(next, 300'000);
}

TEST_F(LogFileTest, SaysWhyThereIsNone) {
  m_file = "";
  EXPECT_EQ(failure(), "it has no log file");
  m_file = m_dir.path();
  EXPECT_EQ(failure(), "\"" + m_dir.path() + "\" is no ordinary file");
  m_file = m_dir.file("pipe");
  ASSERT_EQ(mkfifo(m_file.c_str(), 0600), 0);
  EXPECT_THAT(failure(), HasSubstr("is no ordinary file"));
  m_file = m_dir.file("loop");
  ASSERT_EQ(symlink(m_file.c_str(), m_file.c_str()), 0);
  EXPECT_THAT(failure(), HasSubstr("cannot be read: Too many levels of symbolic links"));
}

}  // namespace
