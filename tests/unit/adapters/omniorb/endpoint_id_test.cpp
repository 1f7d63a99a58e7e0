#include "adapters/omniorb/endpoint_id.h"

#include <gtest/gtest.h>

#include "adapters/omniorb/locator_registration.h"

namespace {

using PoaLocator::endpoint_id_of;
using PoaLocator::names_of;
using PoaLocator::path_of;

std::string text_of(const CORBA::OctetSeq& octets) {
  return {reinterpret_cast<const char*>(octets.get_buffer()), octets.length()};
}

CORBA::OctetSeq octets_of(const std::string& text) {
  CORBA::OctetSeq octets;
  octets.length(static_cast<CORBA::ULong>(text.size()));
  for (CORBA::ULong i = 0; i < octets.length(); ++i) octets[i] = static_cast<CORBA::Octet>(text[i]);
  return octets;
}

TEST(EndpointId, frames_format_domain_and_names) {
  using namespace std::string_literals;
  EXPECT_EQ(text_of(endpoint_id_of("dom", "Bank/Accounts")),
            "\0\0\0\x02QP"
            "\0\0\0\x03"
            "dom"
            "\0\0\0\x0e"
            "Bank\0Accounts\0"s);
}

TEST(EndpointId, is_understood_by_its_own_domain_only) {
  for (const char* path : {"Bank", "Bank/Accounts", "a/b/c/d", "name with spaces/\xc3\xa4"}) {
    EXPECT_EQ(path_of("dom", endpoint_id_of("dom", path)), path);
    EXPECT_EQ(path_of("other", endpoint_id_of("dom", path)), std::nullopt);
    EXPECT_EQ(path_of("do", endpoint_id_of("dom", path)), std::nullopt);
  }
}

TEST(EndpointId, of_other_shape_is_no_path) {
  const std::string whole = text_of(endpoint_id_of("dom", "Bank/Accounts"));
  for (std::size_t size = 0; size < whole.size(); ++size) {
    EXPECT_EQ(path_of("dom", octets_of(whole.substr(0, size))), std::nullopt) << size;
  }
  EXPECT_EQ(path_of("dom", octets_of(whole + "x")), std::nullopt);
  EXPECT_EQ(path_of("dom", octets_of(whole + '\0')), std::nullopt);
  std::string other_format = whole;
  other_format[4] = 'q';
  EXPECT_EQ(path_of("dom", octets_of(other_format)), std::nullopt);
}

TEST(PoaPath, is_names_joined_by_slashes) {
  EXPECT_EQ(names_of("Bank"), (std::vector<std::string>{"Bank"}));
  EXPECT_EQ(names_of("Bank/Accounts/Old"), (std::vector<std::string>{"Bank", "Accounts", "Old"}));
}

TEST(PoaPath, has_no_empty_names) {
  for (const char* path : {"", "/", "/Bank", "Bank/", "Bank//Accounts"}) {
    EXPECT_THROW(names_of(path), PoaLocator::RegistrationError) << path;
  }
  EXPECT_THROW(names_of(std::string("Ba\0nk", 5)), PoaLocator::RegistrationError);
}

}  // namespace
