// poaloc ref: references made and taken apart.
#include "tests/support/corba_side.h"
#include "tests/support/object_key.h"
#include "tests/system/cli/cli_test.h"

namespace {

using ::testing::HasSubstr;

constexpr const char* TYPE = "IDL:Bank/Account:1.0";

class RefTest : public CliTest {
 protected:
  std::string made(const Words& arguments) {
    Words words{"ref", "make"};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::string text = table(words);
    EXPECT_TRUE(text.starts_with("IOR:") && text.ends_with("\n")) << text;
    text.pop_back();
    return text;
  }
};

TEST_F(RefTest, MadeReferenceLeadsToTheObject) {
  add_server("bank", {"Bank", "Bank/Accounts"});
  const pid_t pid = start_server("bank");
  const std::string text = made({"Bank/Accounts", "--id", "4711", "--type", TYPE});
  const CORBA::Object_var object = support::corba_orb()->string_to_object(text.c_str());
  EXPECT_FALSE(object->_non_existent());
  does({"process", "stop", "bank"});
  EXPECT_EQ(cells(table({"ping", text})).size(), 1U);
  EXPECT_NE(process("bank")["pid"], nullptr);
  EXPECT_NE(process("bank")["pid"], pid);
}

TEST_F(RefTest, MadeReferenceSaysWhatItLeadsTo) {
  does({"poa", "add", "Bank/Accounts", "--parents"});
  const Json decoded = line({"ref", "decode", made({"Bank/Accounts", "--id", "4711", "--type", TYPE})});
  EXPECT_EQ(decoded["type_id"], TYPE);
  const Json profile = decoded["profiles"].at(0);
  EXPECT_EQ(profile["profile"], "TAG_INTERNET_IOP");
  EXPECT_EQ(profile["iiop"], "1.2");
  EXPECT_EQ(profile["host"], m_locator.host());
  EXPECT_EQ(profile["port"], support::Locator::FRONT_DOOR);
  EXPECT_EQ(profile["domain"], m_locator.domain());
  EXPECT_EQ(profile["poa"], "Bank/Accounts");
  EXPECT_EQ(profile["object_id"], "4711");
  EXPECT_TRUE(profile["components"].is_array());
  const std::string shown = table({"ref", "decode", made({"Bank/Accounts", "--id-hex", "00fF"})});
  EXPECT_THAT(shown, HasSubstr("Type id       -\nProfile       TAG_INTERNET_IOP\n  IIOP        1.2\n"));
  EXPECT_THAT(shown, HasSubstr("  POA         Bank/Accounts\n  Object id   0x00ff\n"));
  EXPECT_TRUE(line({"ref", "make", "Bank/Accounts", "--id", "1"})["reference"].get<std::string>().starts_with("IOR:"));
}

TEST_F(RefTest, MadeFromAServersOwnReference) {
  support::FakeServer server(m_locator, "bank");
  server.add("Bank");
  const CORBA::Object_var own = support::make_reference(support::FakeServer::HOST, support::FakeServer::PORT,
                                                        support::FakeServer::server_key("Bank", "alice"));
  const CORBA::String_var text = support::corba_orb()->object_to_string(own);
  const std::string persistent = made({"Bank", "--from", text.in(), "--type", TYPE});
  EXPECT_EQ(line({"ref", "decode", persistent})["profiles"].at(0)["object_id"], "alice");
  EXPECT_EQ(persistent, made({"Bank", "--id", "alice", "--type", TYPE}));

  server.add("Shop");
  EXPECT_TRUE(fails({"ref", "make", "Shop", "--from", text.in()}, USAGE, "name the POA that its server made it in"));
}

TEST_F(RefTest, MakeThatCannotBe) {
  does({"poa", "add", "Bank", "--namespace"});
  does({"poa", "add", "Bank/Accounts"});
  EXPECT_TRUE(fails({"ref", "make", "Bank/Cellar", "--id", "1"}, NOT_FOUND, "There is no POA \"Bank/Cellar\""));
  EXPECT_TRUE(fails({"ref", "make", "Bank", "--id", "1"}, REFUSED, "is a namespace, which has no objects"));
  EXPECT_TRUE(fails({"ref", "make", "/", "--id", "1"}, REFUSED, "is a namespace, which has no objects"));
  EXPECT_TRUE(fails({"ref", "make", "Bank/Accounts"}, USAGE, "poaloc ref make --help"));
  EXPECT_TRUE(fails({"ref", "make", "Bank/Accounts", "--id", "1", "--id-hex", "31"}, USAGE, "poaloc ref make --help"));
  EXPECT_TRUE(fails({"ref", "make", "Bank/Accounts", "--id-hex", "3g"}, USAGE, "write two digits for each octet"));
  EXPECT_TRUE(fails({"ref", "make", "Bank/Accounts", "--from", "IOR:00"}, USAGE, "That is no reference"));
  EXPECT_TRUE(fails({"ref", "make", "Bank/Accounts", "--from", "corbaloc::127.0.0.1:1/x"}, FAILED,
                    "is not active and cannot be activated: start its server first"));
}

TEST_F(RefTest, DecodeTakesForeignReferencesApart) {
  const Json json = line({"ref", "decode", "corbaloc:iiop:1.1@host.example.com:99/Some%00Key"});
  const Json profile = json["profiles"].at(0);
  EXPECT_EQ(profile["iiop"], "1.1");
  EXPECT_EQ(profile["host"], "host.example.com");
  EXPECT_EQ(profile["port"], 99);
  EXPECT_EQ(profile["object_key"], "0x536f6d65004b6579");
  EXPECT_FALSE(profile.contains("poa"));
  m_locator.terminate();
  EXPECT_THAT(table({"ref", "decode", "corbaloc::h/K"}), HasSubstr("  Object key  K\n"));
}

TEST_F(RefTest, DecodeThatCannotBe) {
  EXPECT_TRUE(
      fails({"ref", "decode", "nonsense"}, USAGE, "\"nonsense\" is no reference: give an IOR or a corbaloc URL"));
  EXPECT_TRUE(fails({"ref", "decode", "IOR:0"}, USAGE, "write two digits for each octet"));
  EXPECT_TRUE(fails({"ref", "decode", "IOR:"}, USAGE, "That is no reference"));
  EXPECT_TRUE(fails({"ref", "decode", "IOR:010000000100000000000000ffffffff"}, USAGE, "the octets end too early"));
  EXPECT_TRUE(fails({"ref", "decode"}, USAGE, "poaloc ref decode --help"));
}

}  // namespace
