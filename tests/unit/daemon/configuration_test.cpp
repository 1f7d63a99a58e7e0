#include <gmock/gmock.h>

#include <fstream>
#include <sstream>

#include "daemon/configuration_error.h"
#include "daemon/configuration_impl.h"
#include "platform/base/ref_count_handle.h"
#include "tests/support/files.h"
#include "tests/support/test_dir.h"

namespace {

using poalocd::ConfigurationError;
using poalocd::ConfigurationImpl;
using testing::ElementsAre;
using testing::HasSubstr;
using Configuration = RefCountHandle<ConfigurationImpl>;

Configuration parse(const std::string& text, const std::vector<std::string>& assignments = {}) {
  return Configuration(ConfigurationImpl::parse(text, "test.toml", assignments));
}

std::string mistakes(const std::string& text, const std::vector<std::string>& assignments = {}) {
  try {
    parse(text, assignments);
  } catch (const ConfigurationError& e) {
    return e.what();
  }
  return "none";
}

std::string get_string(const Configuration& configuration, const char* key) {
  CORBA::String_var value;
  return configuration->get_string(key, value.out()) ? value.in() : "(absent)";
}

long long get_long(const Configuration& configuration, const char* key) {
  CORBA::LongLong value = -2;
  return configuration->get_long(key, value) ? value : -1;
}

TEST(Configuration, HasDefaultsForEverything) {
  const auto configuration = parse("");
  const auto& settings = configuration->settings();
  EXPECT_EQ(settings.domain, "poalocator");
  EXPECT_EQ(settings.stop_time_limit.count(), 5000);
  ASSERT_EQ(settings.front_door.listeners.size(), 1u);
  EXPECT_EQ(settings.front_door.listeners[0].host, "127.0.0.1");
  EXPECT_EQ(settings.front_door.listeners[0].port, 2809);
  ASSERT_EQ(settings.orb_endpoint.listeners.size(), 1u);
  EXPECT_EQ(QZ_IOR::to_text(settings.orb_endpoint.listeners[0].address), "127.0.0.1:2810");
  EXPECT_THAT(settings.orb_endpoint.listeners[0].roles, ElementsAre(0, 1));
  EXPECT_EQ(settings.orb_endpoint.listeners[0].published, "");
  EXPECT_EQ(settings.store.url, "sqlite:///var/lib/poalocator/state.db");
  EXPECT_THAT(settings.plugins.libraries, ElementsAre("libqz_poa_location_loc.so.3"));
  EXPECT_EQ(get_string(configuration, "locator:domain"), "poalocator");
  EXPECT_EQ(get_long(configuration, "orb_endpoint:probe_time_limit"), 2000);
  EXPECT_EQ(get_long(configuration, "orb_endpoint:activate_time_limit"), 30000);
}

TEST(Configuration, ReadsDecimalSecondsAsMilliseconds) {
  const auto configuration = parse("[orb_endpoint]\nprobe_time_limit = 0.25\n[store]\nbusy_timeout = 3\n");
  EXPECT_EQ(configuration->settings().orb_endpoint.probe_time_limit.count(), 250);
  EXPECT_EQ(get_long(configuration, "orb_endpoint:probe_time_limit"), 250);
  EXPECT_EQ(get_long(configuration, "store:busy_timeout"), 3000);
}

TEST(Configuration, ReadsProcessesAndOrbsInTheirOrder) {
  const auto configuration = parse(R"(
    [[process]]
    name = "bank"
    argv = ["/usr/bin/bank", "--fast"]
    working_directory = "/tmp"
    environment = { BANK = "1", EMPTY = "" }
    user = "nobody"
    startup_time_limit = 1.5
    stop_grace = 2
    log_file = "/tmp/bank.log"
    [[process]]
    name = "a"
    argv = ["a"]
    [[orb]]
    name = "teller"
    process = "bank"
    [[orb]]
    name = "manual"
  )");
  const auto& settings = configuration->settings();
  ASSERT_EQ(settings.processes.size(), 2u);
  const auto& bank = settings.processes[0];
  EXPECT_EQ(bank.name, "bank");
  EXPECT_THAT(bank.argv, ElementsAre("/usr/bin/bank", "--fast"));
  EXPECT_THAT(bank.environment, ElementsAre(testing::Pair("BANK", "1"), testing::Pair("EMPTY", "")));
  EXPECT_EQ(bank.user, "nobody");
  EXPECT_EQ(bank.startup_time_limit.count(), 1500);
  EXPECT_EQ(bank.stop_grace.count(), 2000);
  EXPECT_EQ(bank.log_file, "/tmp/bank.log");
  EXPECT_EQ(settings.processes[1].startup_time_limit.count(), 0);
  ASSERT_EQ(settings.orbs.size(), 2u);
  EXPECT_EQ(settings.orbs[0].process, "bank");
  EXPECT_EQ(settings.orbs[1].process, "");
}

TEST(Configuration, ReadsListenersWithRoles) {
  const auto configuration =
      parse("[front_door]\nlisten = [\"[::1]:1\", { address = \"10.0.0.1:2\", roles = [\"administrator\"] }]\n");
  const auto& listeners = configuration->settings().front_door.listeners;
  ASSERT_EQ(listeners.size(), 2u);
  EXPECT_EQ(listeners[0].host, "::1");
  EXPECT_EQ(listeners[0].port, 1);
  EXPECT_THAT(listeners[0].roles, ElementsAre(2, 0, 1));
  EXPECT_EQ(listeners[1].host, "10.0.0.1");
  EXPECT_THAT(listeners[1].roles, ElementsAre(1));
}

TEST(Configuration, ReadsWhereTheOrbListens) {
  const auto listeners_of = [](const std::string& text) {
    return parse("[orb_endpoint]\n" + text)->settings().orb_endpoint.listeners;
  };
  auto listeners = listeners_of("listen = \"[::1]:0\"\npublished = \"locator:1\"\n");
  ASSERT_EQ(listeners.size(), 1u);
  EXPECT_EQ(listeners[0].address.host, "::1");
  EXPECT_EQ(listeners[0].published, "locator:1");
  listeners = listeners_of(
      "listen = [\"localhost:1\", { address = \"10.0.0.1:2\", roles = [\"server\"], published = \"locator:3\" }]\n");
  ASSERT_EQ(listeners.size(), 2u);
  EXPECT_THAT(listeners[0].roles, ElementsAre(0, 1));
  EXPECT_EQ(listeners[0].published, "");
  EXPECT_EQ(QZ_IOR::to_text(listeners[1].address), "10.0.0.1:2");
  EXPECT_THAT(listeners[1].roles, ElementsAre(0));
  EXPECT_EQ(listeners[1].published, "locator:3");

  EXPECT_THAT(mistakes("[orb_endpoint]\nlisten = [\"127.0.0.1:1\", \"127.0.0.1:0\"]\n"),
              HasSubstr("orb_endpoint.listen: must have a port other than 0"));
  EXPECT_THAT(mistakes("[orb_endpoint]\nlisten = [\"127.0.0.1:1\", \"127.0.0.1:2\"]\npublished = \"a:1\"\n"),
              HasSubstr("orb_endpoint.published: cannot be one for several addresses"));
  EXPECT_THAT(mistakes("[orb_endpoint]\nlisten = [{ address = \"127.0.0.1:1\", roles = [\"client\"] }]\n"),
              HasSubstr("\"client\" is none of: server, administrator"));
}

TEST(Configuration, AddressesThatOthersReachMustSayWhomTheyAdmit) {
  for (const std::string host : {"10.0.0.1", "0.0.0.0", "[::]", "locator.example.com", "127.example.com"})
    for (const std::string section : {"front_door", "orb_endpoint"}) {
      const auto given = "\"" + host + ":1\"";
      EXPECT_THAT(mistakes("[" + section + "]\nlisten = [" + given + "]\n"),
                  HasSubstr(section + ".listen: " + given + " is reached from other machines, so say whom it admits"));
      EXPECT_THAT(mistakes("[" + section + "]\nlisten = [{ address = " + given + " }]\n"),
                  HasSubstr("say whom it admits"));
      EXPECT_EQ(mistakes("[" + section + "]\nlisten = [{ address = " + given + ", roles = [\"server\"] }]\n"), "none");
    }
  for (const std::string host : {"127.0.0.1", "127.3.4.5", "[::1]", "localhost"})
    EXPECT_EQ(mistakes("[front_door]\nlisten = [\"" + host + ":1\"]\n"), "none") << host;
  EXPECT_THAT(mistakes("[front_door]\nlisten = [{ address = \"127.0.0.1:1\", roles = [] }]\n"),
              HasSubstr("roles: must be a list of one or more of: client, server, administrator"));
}

TEST(Configuration, NamesPlaceAndAllowedKeysOfAnUnknownKey) {
  EXPECT_EQ(mistakes("[locator]\n\ndoman = \"x\"\n"),
            "test.toml:3:9: locator.doman: unknown key; allowed here: domain, stop_time_limit");
  EXPECT_THAT(mistakes("[nothing]\n"),
              HasSubstr("test.toml:1:1: nothing: unknown key; allowed here: locator, front_door"));
  EXPECT_THAT(mistakes("[[process]]\nname = \"p\"\nargv = [\"p\"]\nuid = 3\n"),
              HasSubstr("test.toml:4:7: process.uid: unknown key; allowed here: name, argv, working_directory, "
                        "environment, user, startup_time_limit, stop_grace, log_file"));
}

TEST(Configuration, NamesPlaceAndWhatIsAllowedOfAWrongValue) {
  EXPECT_EQ(mistakes("[locator]\ndomain = 3\n"), "test.toml:2:10: locator.domain: must be a text, is a whole number");
  EXPECT_EQ(mistakes("[front_door]\nthreads = 5000\n"),
            "test.toml:2:11: front_door.threads: must be a whole number from 0 to 1024, is 5000");
  EXPECT_EQ(mistakes("[front_door]\nthreads = \"4\"\n"),
            "test.toml:2:11: front_door.threads: must be a whole number from 0 to 1024, is a text");
  EXPECT_EQ(mistakes("[event_log]\nformat = \"xml\"\n"),
            "test.toml:2:10: event_log.format: \"xml\" is none of: text, json");
  EXPECT_EQ(mistakes("[orb_endpoint]\nprobe_time_limit = 0\n"),
            "test.toml:2:20: orb_endpoint.probe_time_limit: must be a number of seconds from 0.001 to 86400, is 0");
  EXPECT_THAT(mistakes("[store]\nbusy_timeout = nan\n"), HasSubstr("store.busy_timeout: must be a number of seconds"));
  EXPECT_EQ(mistakes("locator = 1\n"), "test.toml:1:11: locator: must be a table, is a whole number");
  EXPECT_THAT(mistakes("process = 1\n"), HasSubstr("process: must be a list of tables"));
  EXPECT_THAT(mistakes("[locator]\ndomain = \"\"\n"), HasSubstr("locator.domain: must not be empty"));
}

TEST(Configuration, NamesAllMistakesAtOnce) {
  const auto text = mistakes("[locator]\ndomain = 3\n[store]\nurk = 1\n[event_log]\nfile = false\n");
  EXPECT_THAT(text, HasSubstr("locator.domain"));
  EXPECT_THAT(text, HasSubstr("store.urk"));
  EXPECT_THAT(text, HasSubstr("event_log.file"));
}

TEST(Configuration, RefusesAddressesThatAreNone) {
  for (const std::string address :
       {"", "2809", ":2809", "host", "host:", "host:x", "host:70000", "host:-1", "::1:2809", "[]:1", "[::1:2"}) {
    EXPECT_THAT(mistakes("[orb_endpoint]\nlisten = \"" + address + "\"\n"),
                HasSubstr("orb_endpoint.listen: must be HOST:PORT"))
        << address;
    EXPECT_THAT(mistakes("[front_door]\nlisten = [\"" + address + "\"]\n"), HasSubstr("must be HOST:PORT")) << address;
  }
  EXPECT_THAT(mistakes("[front_door]\nlisten = []\n"), HasSubstr("one or more addresses"));
  EXPECT_THAT(mistakes("[front_door]\npublished = [\"locator:0\"]\n"), HasSubstr("port other than 0"));
  EXPECT_THAT(mistakes("[front_door]\nlisten = [{ address = \"a:1\", roles = [\"root\"] }]\n"),
              HasSubstr("\"root\" is none of: client, server, administrator"));
}

TEST(Configuration, RefusesProcessesAndOrbsThatCannotBe) {
  EXPECT_THAT(mistakes("[[process]]\nargv = [\"x\"]\n"), HasSubstr("process.name: is missing or empty"));
  EXPECT_THAT(mistakes("[[process]]\nname = \"p\"\n"), HasSubstr("process.argv: needs at least the program"));
  EXPECT_THAT(mistakes("[[process]]\nname = \"p\"\nargv = [\"x\", 3]\n"), HasSubstr("must be a list of texts"));
  EXPECT_THAT(mistakes("[[process]]\nname = \"p\"\nargv = [\"x\"]\n[[process]]\nname = \"p\"\nargv = [\"x\"]\n"),
              HasSubstr("test.toml:5:8: process.name: there are two processes named \"p\""));
  EXPECT_THAT(mistakes("[[orb]]\nname = \"o\"\n[[orb]]\nname = \"o\"\n"), HasSubstr("two ORBs named \"o\""));
  EXPECT_THAT(mistakes("[[process]]\nname = \"p\"\nargv = [\"x\"]\nenvironment = { A = 1 }\n"),
              HasSubstr("process.environment.A: must be a text"));
  EXPECT_THAT(mistakes("[[process]]\nname = \"p\"\nargv = [\"a\\u0000b\"]\n"), HasSubstr("must not hold a NUL"));
}

TEST(Configuration, SaysWhereTheTextIsNoToml) {
  EXPECT_THAT(mistakes("[locator\n"), HasSubstr("test.toml:1:"));
  EXPECT_THAT(mistakes("a = \xff\n"), HasSubstr("test.toml:1:"));
}

TEST(Configuration, AssignmentsWinOverTheFile) {
  const auto configuration = parse("[locator]\ndomain = \"file\"\n[event_log]\nformat = \"json\"\n",
                                   {"locator.domain=\"set\"", "event_log.file=/tmp/some.log",
                                    "front_door.listen=[\"127.0.0.1:7\"]", "liveness.failures=9"});
  EXPECT_EQ(configuration->settings().domain, "set");
  EXPECT_EQ(configuration->settings().event_log.file, "/tmp/some.log");
  EXPECT_TRUE(configuration->settings().event_log.json);
  EXPECT_EQ(configuration->settings().front_door.listeners[0].port, 7);
  EXPECT_EQ(get_long(configuration, "liveness:failures"), 9);
}

TEST(Configuration, SaysWhichAssignmentIsWrong) {
  EXPECT_THAT(mistakes("", {"locator"}), HasSubstr("--set locator: must be KEY=VALUE"));
  EXPECT_THAT(mistakes("", {"=3"}), HasSubstr("must be KEY=VALUE"));
  EXPECT_THAT(mistakes("", {"locator.domian=x"}), HasSubstr("--set locator.domian=x"));
  EXPECT_THAT(mistakes("", {"a b=x"}), HasSubstr("--set a b=x"));
}

TEST(Configuration, ServesAPluginsOwnScopeAsItIsWritten) {
  const auto configuration = parse(
      "[plugins.locator]\nnamespace_home_type_id = \"PSDL:x:1.0\"\nnumber = 7\nflag = true\nlist = [1]\n"
      "[plugins.locator.sub]\nkey = \"deep\"\n");
  EXPECT_EQ(get_string(configuration, "plugins:locator:namespace_home_type_id"), "PSDL:x:1.0");
  EXPECT_EQ(get_long(configuration, "plugins:locator:number"), 7);
  EXPECT_EQ(get_string(configuration, "plugins:locator:sub:key"), "deep");
  CORBA::Boolean flag = false;
  EXPECT_TRUE(configuration->get_boolean("plugins:locator:flag", flag));
  EXPECT_TRUE(flag);
}

TEST(Configuration, AnswersKeysByTheirType) {
  const auto configuration = parse("[plugins.locator]\nnumber = 7\nlist = [1]\n");
  CORBA::String_var text;
  EXPECT_FALSE(configuration->get_string("plugins:locator:nothing", text.out()));
  EXPECT_STREQ(text.in(), "");
  CORBA::LongLong number = 5;
  EXPECT_FALSE(configuration->get_long("plugins:locator:nothing", number));
  EXPECT_EQ(number, 0);
  EXPECT_THROW(configuration->get_string("plugins:locator:number", text.out()), CORBA::BAD_PARAM);
  EXPECT_THROW(configuration->get_long("locator:domain", number), CORBA::BAD_PARAM);
  CORBA::Boolean flag = false;
  EXPECT_THROW(configuration->get_boolean("locator:domain", flag), CORBA::BAD_PARAM);
  EXPECT_THROW(configuration->get_string("plugins:locator:list", text.out()), CORBA::BAD_PARAM);
}

TEST(Configuration, LoadsAFileAndSaysWhyItCannot) {
  const support::TestDir dir;
  support::write_file(dir.file("c.toml"), "[locator]\ndomain = \"d\"\n");
  const Configuration configuration(ConfigurationImpl::load(dir.file("c.toml"), {}));
  EXPECT_EQ(configuration->settings().domain, "d");
  try {
    ConfigurationImpl::load(dir.file("none.toml"), {});
    FAIL() << "a file that is not there was loaded";
  } catch (const ConfigurationError& e) {
    EXPECT_EQ(std::string(e.what()), dir.file("none.toml") + ": cannot be read: No such file or directory");
  }
  EXPECT_THROW(ConfigurationImpl::load(dir.path(), {}), ConfigurationError);
}

// The page for administrators must know each key.
TEST(Configuration, IsDocumentedKeyByKey) {
  const auto page = support::read_file(std::string(POALOCATOR_SOURCE_DIR) + "/docs/configuration.md");
  ASSERT_FALSE(page.empty());
  const auto configuration = parse("");
  for (const auto& [key, value] : configuration->flat_values()) {
    const auto name = key.substr(key.rfind(':') + 1);
    EXPECT_THAT(page, HasSubstr("| `" + name + "` |")) << key;
  }
}

}  // namespace
