// The octets that docs/protocol.md shows are those that are really used.
#include <gtest/gtest.h>

#include <cctype>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "adapters/omniorb/endpoint_id.h"
#include "adapters/omniorb/locator_registration.h"
#include "adapters/omniorb/reference_key.h"
#include "tests/unit/adapters/omniorb/fake_locator.h"
#include "tests/support/test_orb.h"

namespace {

using PoaLocator::Octets;

std::string hex(const Octets& octets) {
  std::string text;
  for (CORBA::ULong i = 0; i < octets.length(); ++i) {
    char digits[4];
    std::snprintf(digits, sizeof digits, "%02x", octets[i]);
    text += digits;
  }
  return text;
}

// The digits of one line: pairs, until something else comes.
std::string digits_of(const std::string& line) {
  std::istringstream words(line);
  std::string digits;
  std::string word;
  while (words >> word && word.size() == 2 && std::isxdigit(word[0]) && std::isxdigit(word[1])) digits += word;
  return digits;
}

std::ifstream document() {
  const auto root = std::filesystem::path(__FILE__).parent_path() / "../../../..";
  return std::ifstream(root / "docs/protocol.md");
}

// The octets of the block with that name.
std::string documented(const std::string& name) {
  std::ifstream in = document();
  std::string line;
  while (std::getline(in, line) && line != "```octets " + name) continue;
  std::string digits;
  while (std::getline(in, line) && line != "```") digits += digits_of(line);
  return digits;
}

class ProtocolExample : public ::testing::Test {
 protected:
  ProtocolExample() {
    PoaLocator::LocatorOptions options;
    options.url = test_orb::url();
    options.orb_name = "bank-orb";
    options.domain = "poalocator";
    options.watch_interval = std::chrono::milliseconds(0);
    options.leave_grace = std::chrono::milliseconds(0);
    m_server = std::make_unique<PoaLocator::LocatorRegistration>(test_orb::orb(), options, nullptr);
    m_poa = m_server->create_poa("Bank/Accounts", {}, {});
  }
  ~ProtocolExample() override {
    PortableServer::POA_var bank = test_orb::root_poa()->find_POA("Bank", false);
    bank->destroy(true, true);
  }

  FakeLocator m_locator;
  std::unique_ptr<PoaLocator::LocatorRegistration> m_server;
  PortableServer::POA_var m_poa;
};

TEST_F(ProtocolExample, shows_the_endpoint_id) {
  EXPECT_EQ(documented("endpoint-id"), hex(PoaLocator::endpoint_id_of("poalocator", "Bank/Accounts")));
}

TEST_F(ProtocolExample, shows_the_keys_of_the_prototype_and_of_an_object) {
  const CORBA::Object_var prototype = m_locator.prototype("Bank/Accounts");
  EXPECT_EQ(documented("prototype-key"), hex(PoaLocator::key_of(prototype)));
  PortableServer::ObjectId_var id = PortableServer::string_to_ObjectId("alice");
  const CORBA::Object_var alice = m_poa->create_reference_with_id(id, "IDL:Bank/Account:1.0");
  EXPECT_EQ(documented("direct-key"), hex(PoaLocator::key_of(alice)));
}

TEST_F(ProtocolExample, shows_the_key_of_the_reference_for_clients) {
  const CORBA::Object_var alice = m_server->mint("Bank/Accounts", "alice", "IDL:Bank/Account:1.0");
  EXPECT_EQ(documented("minted-key"), hex(PoaLocator::key_of(alice)));
}

TEST_F(ProtocolExample, shows_the_same_key_as_a_url) {
  std::ifstream in = document();
  std::string word;
  std::string url;
  while (in >> word) {
    if (word.starts_with("corbaloc::1.2@127.0.0.1")) url = word;
  }
  const CORBA::Object_var object = test_orb::orb()->string_to_object(url.c_str());
  EXPECT_EQ(hex(PoaLocator::key_of(object)), documented("minted-key"));
}

}  // namespace
