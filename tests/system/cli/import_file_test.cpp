// Files that poaloc import must not take: each gives clear sentences, and nothing is written.
#include "tests/system/cli/cli_test.h"

namespace {

struct BadFile {
  const char* name;
  std::string text;
  std::string mistake;  // one of the lines on standard error
};

std::string with_poas(const std::string& entries) {
  return R"({"poalocator":1,"poas":[)" + entries + "]}";
}
std::string with_processes(const std::string& entries) {
  return R"({"poalocator":1,"processes":[)" + entries + "]}";
}
std::string with_orbs(const std::string& entries) {
  return R"({"poalocator":1,"orbs":[)" + entries + "]}";
}

const std::string NO_REPOSITORY = "It is no repository: a repository is an object with \"poalocator\": 1.";

class ImportFileTest : public CliTest, public ::testing::WithParamInterface<BadFile> {};

TEST_P(ImportFileTest, IsRefusedWithAClearSentence) {
  const std::string before = repository();
  const std::string file = m_dir.file("bad.json");
  support::write_file(file, GetParam().text);
  const Outcome outcome = run({"import", file});
  EXPECT_EQ(outcome.code, USAGE);
  EXPECT_EQ(outcome.out, "");
  const Words said = split_lines(outcome.err);
  EXPECT_THAT(said, ::testing::Contains("poaloc: " + GetParam().mistake)) << outcome.err;
  ASSERT_FALSE(said.empty());
  EXPECT_EQ(said.back(), "poaloc: Nothing was imported, because \"" + file + "\" has " +
                             std::to_string(said.size() - 1) + (said.size() == 2 ? " mistake" : " mistakes") +
                             ": correct them, and import it again.");
  EXPECT_EQ(repository(), before);
}

INSTANTIATE_TEST_SUITE_P(
    Each, ImportFileTest,
    ::testing::Values(
        BadFile{"Empty", "", "It is no JSON, from octet 1 on."},
        BadFile{"Cut", R"({"poalocator":1,"poas":[{"name":"A")", "It is no JSON, from octet 36 on."},
        BadFile{"Garbage",
                "\x7f"
                "ELF\x02\x01",
                "It is no JSON, from octet 1 on."},
        BadFile{"NoUtf8", with_poas("{\"name\":\"\xff\"}"), "It is no JSON, from octet 34 on."},
        BadFile{"HalfASurrogate", with_poas(R"({"name":"\ud800"})"), "It is no JSON, from octet 40 on."},
        BadFile{"HugeNumber", R"({"poalocator":1e999})", "It has a number that is too large."},
        BadFile{"DeeplyNested", std::string(200000, '[') + std::string(200000, ']'), NO_REPOSITORY},
        BadFile{"Null", "null", NO_REPOSITORY}, BadFile{"List", "[]", NO_REPOSITORY},
        BadFile{"OtherObject", "{}", NO_REPOSITORY}, BadFile{"OtherVersion", R"({"poalocator":2})", NO_REPOSITORY},
        BadFile{"VersionAsText", R"({"poalocator":"1"})", NO_REPOSITORY},
        BadFile{"UnknownList", R"({"poalocator":1,"poa":[]})", "There is a member \"poa\", which is not known."},
        BadFile{"NoList", R"({"poalocator":1,"poas":{}})", "\"poas\" is not a list."},
        BadFile{"EntryIsText", with_poas(R"("A")"), "Entry 1 of \"poas\" is no object."},
        BadFile{"UnknownMember", with_poas(R"({"name":"A","Orb":"x"})"),
                "Entry 1 of \"poas\", POA \"A\", has a member \"Orb\", which is not known."},
        BadFile{"NoName", with_poas(R"({"persistent":true})"), "Entry 1 of \"poas\" has no \"name\"."},
        BadFile{"EmptyName", with_orbs(R"({"name":""})"),
                "Entry 1 of \"orbs\" has a \"name\" that is not a string that is not empty."},
        BadFile{"NameIsNumber", with_orbs(R"({"name":7})"), "Entry 1 of \"orbs\" has a \"name\" that is not a string."},
        BadFile{"NulInName", with_orbs(R"({"name":"a\u0000b"})"),
                "Entry 1 of \"orbs\", ORB \"a\\x00b\", has a \"name\" that is not a string without NUL."},
        BadFile{"NoPoaName", with_poas(R"({"name":"A//B"})"),
                "Entry 1 of \"poas\", POA \"A//B\", has a \"name\" that is not the name of a POA."},
        BadFile{"Twice", with_poas(R"({"name":"A"},{"name":"A"})"), "Entry 2 of \"poas\", POA \"A\", is there twice."},
        BadFile{"FlagIsText", with_poas(R"({"name":"A","persistent":"yes"})"),
                "Entry 1 of \"poas\", POA \"A\", has a \"persistent\" that is not true or false."},
        BadFile{"PersistentRoot", with_poas(R"({"name":"/","persistent":true})"),
                "Entry 1 of \"poas\", POA \"/\", is the root and persistent."},
        BadFile{"NoCommand", with_processes(R"({"name":"p"})"),
                "Entry 1 of \"processes\", process \"p\", has no \"command\"."},
        BadFile{"EmptyCommand", with_processes(R"({"name":"p","command":[]})"),
                "Entry 1 of \"processes\", process \"p\", has a \"command\" that is not a list of strings that is not "
                "empty."},
        BadFile{"CommandIsText", with_processes(R"({"name":"p","command":"a b"})"),
                "Entry 1 of \"processes\", process \"p\", has a \"command\" that is not a list of strings that is not "
                "empty."},
        BadFile{"NoDuration", with_processes(R"({"name":"p","command":["a"],"stop_grace":"ages"})"),
                "Entry 1 of \"processes\", process \"p\", has a \"stop_grace\" that is not a duration as in \"30s\"."},
        BadFile{"Several", with_orbs(R"({"name":7},{"name":"b","process":1})"),
                "Entry 2 of \"orbs\", ORB \"b\", has a \"process\" that is not a string."},
        BadFile{"ControlCharacters", with_orbs(R"({"name":"\u001b[2J","x":1})"),
                "Entry 1 of \"orbs\", ORB \"\\x1b[2J\", has a member \"x\", which is not known."}),
    [](const auto& info) { return std::string(info.param.name); });

}  // namespace
