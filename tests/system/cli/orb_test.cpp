// poaloc orb: the server ORBs.
#include "tests/system/cli/cli_test.h"

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class OrbTest : public CliTest {
 protected:
  void SetUp() override {
    CliTest::SetUp();
    does({"process", "add", "bank", "--", "/bin/true"});
    does({"orb", "add", "bank", "--process", "bank"});
    does({"orb", "add", "shop"});
  }

  // POAs of the ORB "bank", one with a POA of another ORB below it.
  void add_poas() {
    does({"poa", "add", "Bank", "--orb", "bank"});
    does({"poa", "add", "Bank/Shop", "--orb", "shop"});
    does({"poa", "add", "P", "--namespace"});
    does({"poa", "add", "P/Q", "--orb", "bank"});
  }
};

TEST_F(OrbTest, ListAlignsItsColumns) {
  EXPECT_EQ(table({"orb", "list"}),
            "ORB   PROCESS  ACTIVE  STATE  PID  SINCE  ACTIVATOR  ACTIVE POAS\n"
            "bank  bank     no      -      -    -      -          0\n"
            "shop  -        no      -      -    -      -          0\n");
  const auto of_process = lines({"orb", "list", "--process", "bank"});
  ASSERT_EQ(of_process.size(), 1U);
  EXPECT_EQ(of_process.front()["name"], "bank");
  EXPECT_TRUE(fails({"orb", "list", "bank"}, USAGE, "poaloc orb list --help"));
}

TEST_F(OrbTest, ShowTellsTheSameInJsonAndInWords) {
  EXPECT_EQ(line({"orb", "show", "bank"}), Json({{"name", "bank"},
                                                 {"process", "bank"},
                                                 {"active", false},
                                                 {"state", nullptr},
                                                 {"pid", nullptr},
                                                 {"since", nullptr},
                                                 {"activator_held", nullptr},
                                                 {"active_poas", 0}}));
  EXPECT_THAT(table({"orb", "show", "bank"}), HasSubstr("ORB          bank\nProcess      bank\nActive       no\n"));
  EXPECT_TRUE(fails({"orb", "show", "none"}, NOT_FOUND, "There is no ORB \"none\": \"poaloc orb list\" shows"));
}

TEST_F(OrbTest, ShowsWhatRuns) {
  add_server("server", {"S", "S/T"});
  const pid_t pid = start_server("server");
  const Json shown = line({"orb", "show", "server"});
  EXPECT_EQ(shown["active"], true);
  EXPECT_EQ(shown["state"], "running");
  EXPECT_EQ(shown["pid"], pid);
  EXPECT_EQ(shown["activator_held"], true);
  EXPECT_EQ(shown["active_poas"], 2);
  const auto row = cells(split_lines(table({"orb", "list"})).back());
  EXPECT_THAT(row, ElementsAre("shop", "-", "no", "-", "-", "-", "-", "0"));
  EXPECT_THAT(cells(split_lines(table({"orb", "list"})).at(2)),
              ElementsAre("server", "server", "yes", "running", std::to_string(pid), shown["since"].get<std::string>(),
                          "yes", "2"));
}

TEST_F(OrbTest, AddAndSet) {
  EXPECT_EQ(table({"orb", "add", "vault", "--process", "bank"}), "ORB vault added.\n");
  EXPECT_EQ(line({"orb", "add", "cellar"}), Json({{"added", "cellar"}}));
  EXPECT_EQ(table({"orb", "set", "cellar", "--process", "bank"}), "ORB cellar changed.\n");
  EXPECT_EQ(line({"orb", "show", "cellar"})["process"], "bank");
  EXPECT_EQ(line({"orb", "set", "cellar", "--no-process"}), Json({{"changed", "cellar"}}));
  EXPECT_EQ(line({"orb", "show", "cellar"})["process"], nullptr);
}

TEST_F(OrbTest, AddAndSetThatCannotBeChangeNothing) {
  const std::string before = repository();
  EXPECT_TRUE(fails({"orb", "add", "bank"}, REFUSED, "ORB \"bank\" exists already: change it with \"poaloc orb set\""));
  EXPECT_TRUE(fails({"orb", "add", "vault", "--process", "none"}, USAGE, "process"));
  EXPECT_TRUE(fails({"orb", "add", ""}, USAGE, "name"));
  EXPECT_TRUE(fails({"orb", "set", "bank", "--process", "none"}, USAGE, "process"));
  EXPECT_TRUE(fails({"orb", "set", "bank"}, USAGE, "give --process or --no-process"));
  EXPECT_TRUE(fails({"orb", "set", "none", "--no-process"}, NOT_FOUND, "There is no ORB \"none\""));
  EXPECT_EQ(repository(), before);
}

TEST_F(OrbTest, RemoveWithoutPoas) {
  EXPECT_EQ(table({"orb", "remove", "shop", "--yes"}), "ORB shop removed.\n");
  EXPECT_EQ(line({"orb", "remove", "bank", "--yes"}), Json({{"removed", "bank"}}));
  EXPECT_THAT(table({"orb", "list"}), IsEmpty());
  EXPECT_TRUE(fails({"orb", "remove", "bank", "--yes"}, NOT_FOUND, "There is no ORB \"bank\""));
}

TEST_F(OrbTest, RemoveThatCannotBeListsWhatIsInTheWay) {
  add_poas();
  const std::string before = repository();
  EXPECT_TRUE(fails({"orb", "remove", "bank"}, NOT_CONFIRMED, "repeat it with --yes"));
  EXPECT_TRUE(fails({"orb", "remove", "bank", "--yes"}, REFUSED,
                    "ORB \"bank\" is in use by Bank, P/Q: remove these first, detach them with --force"));
  EXPECT_TRUE(fails({"orb", "remove", "bank", "--yes", "--force", "--deep"}, USAGE, "poaloc orb remove --help"));
  EXPECT_EQ(repository(), before);
}

TEST_F(OrbTest, ForcedRemoveDetachesThePoas) {
  add_poas();
  does({"orb", "remove", "bank", "--force", "--yes"});
  EXPECT_EQ(table({"poa", "tree"}),
            "/  (dynamic)\n"
            "├── Bank  (no ORB)\n"
            "│   └── Shop  (ORB shop)\n"
            "└── P\n"
            "    └── Q  (no ORB)\n");
  EXPECT_TRUE(fails({"orb", "show", "bank"}, NOT_FOUND, "bank"));
}

TEST_F(OrbTest, DeepRemoveTakesThePoasAndAllBelowThem) {
  add_poas();
  does({"orb", "remove", "bank", "--deep", "--yes"});
  EXPECT_EQ(table({"poa", "tree"}), "/  (dynamic)\n└── P\n");
  EXPECT_EQ(lines({"orb", "list"}).size(), 1U);
}

TEST_F(OrbTest, RemovesAreKeptOverARestart) {
  add_poas();
  m_locator.terminate();
  m_locator.start();
  EXPECT_TRUE(fails({"orb", "remove", "bank", "--yes"}, REFUSED, "Bank, P/Q"));
  does({"orb", "remove", "bank", "--force", "--yes"});
  does({"orb", "remove", "shop", "--deep", "--yes"});
  const std::string before = repository();
  EXPECT_THAT(before, AllOf(HasSubstr("\"P/Q\""), Not(HasSubstr("Shop"))));
  m_locator.kill9();
  m_locator.start();
  EXPECT_EQ(repository(), before);
  EXPECT_THAT(table({"orb", "list"}), IsEmpty());
}

}  // namespace
