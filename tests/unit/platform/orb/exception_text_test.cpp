#include "platform/orb/exception_text.h"

#include <gtest/gtest.h>

#include <sstream>

namespace {

template <class Exception>
std::string streamed(const Exception& exception) {
  std::ostringstream out;
  out << exception;
  return out.str();
}

TEST(ExceptionText, tells_name_minor_code_and_completion) {
  EXPECT_EQ(QZ_CORBA::to_string(CORBA::TRANSIENT(0x515A0C04, CORBA::COMPLETED_NO)),
            "TRANSIENT (minor 0x515A0C04, COMPLETED_NO)");
  EXPECT_EQ(QZ_CORBA::to_string(CORBA::UNKNOWN(0x00000001, CORBA::COMPLETED_YES)),
            "UNKNOWN (minor 0x00000001, COMPLETED_YES)");
  EXPECT_EQ(QZ_CORBA::to_string(CORBA::OBJECT_NOT_EXIST(0xFFFFFFFF, CORBA::COMPLETED_MAYBE)),
            "OBJECT_NOT_EXIST (minor 0xFFFFFFFF, COMPLETED_MAYBE)");
}

TEST(ExceptionText, names_minor_codes_that_the_orb_knows) {
  const std::string text = QZ_CORBA::to_string(CORBA::TRANSIENT(0x41540002, CORBA::COMPLETED_NO));
  EXPECT_EQ(text, "TRANSIENT (minor 0x41540002 TRANSIENT_ConnectFailed, COMPLETED_NO)");
}

TEST(ExceptionText, tells_name_and_repository_id_of_user_exceptions) {
  EXPECT_EQ(QZ_CORBA::to_string(CORBA::PolicyError(CORBA::BAD_POLICY)),
            "PolicyError (IDL:omg.org/CORBA/PolicyError:1.0)");
}

TEST(ExceptionText, can_be_streamed) {
  const CORBA::TRANSIENT transient(0x515A0C04, CORBA::COMPLETED_NO);
  const CORBA::SystemException& system = transient;
  const CORBA::Exception& any = transient;
  const std::string expected = "TRANSIENT (minor 0x515A0C04, COMPLETED_NO)";
  EXPECT_EQ(streamed(transient), expected);
  EXPECT_EQ(streamed(system), expected);
  EXPECT_EQ(streamed(any), expected);
  EXPECT_EQ(streamed(CORBA::PolicyError(CORBA::BAD_POLICY)), "PolicyError (IDL:omg.org/CORBA/PolicyError:1.0)");
}

}  // namespace
