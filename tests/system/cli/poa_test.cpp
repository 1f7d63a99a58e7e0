// poaloc poa: the repository of POAs.
#include "tests/system/cli/cli_test.h"

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class PoaTest : public CliTest {
 protected:
  void SetUp() override {
    CliTest::SetUp();
    does({"orb", "add", "bank"});
    does({"poa", "add", "Bank", "--namespace", "--dynamic"});
    does({"poa", "add", "Bank/Accounts", "--orb", "bank"});
    does({"poa", "add", "Bank/Loans"});
  }
};

TEST_F(PoaTest, ListAlignsItsColumns) {
  EXPECT_EQ(table({"poa", "list"}),
            "POA            PERSISTENT  DYNAMIC  ORB\n"
            "Bank           no          yes      -\n"
            "Bank/Accounts  yes         no       bank\n"
            "Bank/Loans     yes         no       -\n");
}

TEST_F(PoaTest, ListWritesOneObjectALine) {
  EXPECT_THAT(lines({"poa", "list"}),
              ElementsAre(Json({{"name", "Bank"}, {"persistent", false}, {"dynamic", true}, {"orb", nullptr}}),
                          Json({{"name", "Bank/Accounts"}, {"persistent", true}, {"dynamic", false}, {"orb", "bank"}}),
                          Json({{"name", "Bank/Loans"}, {"persistent", true}, {"dynamic", false}, {"orb", nullptr}})));
}

TEST_F(PoaTest, ListIsNarrowedByNameAndOrb) {
  does({"poa", "add", "Bankrupt"});
  const auto below = lines({"poa", "list", "Bank"});
  ASSERT_EQ(below.size(), 3U);
  EXPECT_EQ(below.front()["name"], "Bank");
  const auto of_orb = lines({"poa", "list", "--orb", "bank"});
  ASSERT_EQ(of_orb.size(), 1U);
  EXPECT_EQ(of_orb.front()["name"], "Bank/Accounts");
  EXPECT_THAT(table({"poa", "list", "--orb", "unknown"}), IsEmpty());
  EXPECT_TRUE(fails({"poa", "list", "Bink"}, NOT_FOUND, "There is no POA \"Bink\": \"poaloc poa list\" shows"));
  EXPECT_TRUE(fails({"poa", "list", "Bank//Accounts"}, USAGE, "a part of it is empty; write names from the outermost"));
}

TEST_F(PoaTest, TreeShowsWhatIsBelowWhat) {
  EXPECT_EQ(table({"poa", "tree"}),
            "/  (dynamic)\n"
            "└── Bank  (dynamic)\n"
            "    ├── Accounts  (ORB bank)\n"
            "    └── Loans  (no ORB)\n");
  EXPECT_EQ(table({"poa", "tree", "--depth", "1"}), "/  (dynamic)\n└── Bank  (dynamic)\n");
  EXPECT_EQ(table({"poa", "tree", "Bank/Loans"}), "Bank/Loans  (no ORB)\n");
}

TEST_F(PoaTest, TreeNestsChildrenInJson) {
  const Json root = line({"poa", "tree"});
  EXPECT_EQ(root["name"], "/");
  const Json bank = root["children"].at(0);
  EXPECT_EQ(bank["name"], "Bank");
  EXPECT_EQ(bank["children"].at(0), Json({{"name", "Bank/Accounts"},
                                          {"persistent", true},
                                          {"dynamic", false},
                                          {"orb", "bank"},
                                          {"children", Json::array()}}));
  EXPECT_EQ(bank["children"].at(1)["name"], "Bank/Loans");
  EXPECT_THAT(line({"poa", "tree", "--depth", "1"})["children"].at(0)["children"], IsEmpty());
}

TEST_F(PoaTest, TreeOfWhatIsNotThereFails) {
  EXPECT_TRUE(fails({"poa", "tree", "Bank/Cellar"}, NOT_FOUND, "There is no POA \"Bank/Cellar\""));
  EXPECT_TRUE(fails({"poa", "tree", "--depth", "-1"}, USAGE, "poaloc poa tree --help"));
}

TEST_F(PoaTest, ShowTellsAllOfOnePoa) {
  does({"process", "add", "bank", "--", "/bin/true"});
  does({"orb", "set", "bank", "--process", "bank"});
  const Json json = line({"poa", "show", "Bank/Accounts"});
  EXPECT_EQ(json["process"], "bank");
  EXPECT_EQ(json["active"], false);
  EXPECT_EQ(json["endpoint_id"].get<std::string>().substr(0, 12), "000000025150");
  EXPECT_EQ(table({"poa", "show", "Bank/Accounts"}),
            "POA                   Bank/Accounts\n"
            "Persistent            yes\n"
            "Dynamic registration  no\n"
            "ORB                   bank\n"
            "Process               bank\n"
            "Active                no\n"
            "Endpoint id           " +
                json["endpoint_id"].get<std::string>() + "\n");
  EXPECT_EQ(line({"poa", "show", "/"})["dynamic"], true);
  EXPECT_TRUE(fails({"poa", "show", "Bank/Cellar"}, NOT_FOUND, "There is no POA \"Bank/Cellar\""));
}

TEST_F(PoaTest, AddSaysWhatItAdded) {
  EXPECT_EQ(table({"poa", "add", "Shop", "--orb", "bank"}), "POA Shop added.\n");
  EXPECT_EQ(line({"poa", "add", "Shop/Shelf"}), Json({{"added", "Shop/Shelf"}}));
  EXPECT_EQ(table({"poa", "add", "A/B/C", "--parents"}), "POA A/B/C added.\n");
  EXPECT_EQ(line({"poa", "show", "A/B"})["persistent"], false);
  EXPECT_EQ(line({"poa", "show", "A/B/C"})["persistent"], true);
}

TEST_F(PoaTest, AddThatCannotBeChangesNothing) {
  const std::string before = repository();
  EXPECT_TRUE(fails({"poa", "add", "Bank/Loans", "--orb", "bank"}, REFUSED,
                    "POA \"Bank/Loans\" exists already: change it with \"poaloc poa set\""));
  EXPECT_TRUE(fails({"poa", "add", "A/B"}, NOT_FOUND, "There is no POA \"A\" to add it to: add that first"));
  EXPECT_TRUE(fails({"poa", "add", "/"}, REFUSED, "The root exists always"));
  EXPECT_TRUE(fails({"poa", "add", ""}, USAGE, "it is empty"));
  EXPECT_TRUE(fails({"poa", "add", "A\\B"}, USAGE, "a backslash stands before a slash or a backslash only"));
  EXPECT_TRUE(fails({"poa", "add", "N", "--namespace", "--orb", "bank"}, USAGE, "leave out --orb or --namespace"));
  EXPECT_TRUE(fails({"poa", "add"}, USAGE, "\"poaloc poa add --help\" shows how"));
  EXPECT_EQ(repository(), before);
}

TEST_F(PoaTest, SetChangesOrbAndDynamicRegistration) {
  does({"orb", "add", "vault"});
  EXPECT_EQ(table({"poa", "set", "Bank/Accounts", "--orb", "vault", "--dynamic", "yes"}),
            "POA Bank/Accounts changed.\n");
  Json shown = line({"poa", "show", "Bank/Accounts"});
  EXPECT_EQ(shown["orb"], "vault");
  EXPECT_EQ(shown["dynamic"], true);
  EXPECT_EQ(line({"poa", "set", "Bank/Accounts", "--no-orb", "--dynamic", "no"}), Json({{"changed", "Bank/Accounts"}}));
  shown = line({"poa", "show", "Bank/Accounts"});
  EXPECT_EQ(shown["orb"], nullptr);
  EXPECT_EQ(shown["dynamic"], false);
  does({"poa", "set", "/", "--dynamic", "no"});
  EXPECT_EQ(line({"poa", "show", "/"})["dynamic"], false);
}

TEST_F(PoaTest, SetThatCannotBeChangesNothing) {
  const std::string before = repository();
  EXPECT_TRUE(fails({"poa", "set", "Bank/Accounts"}, USAGE, "give --orb, --no-orb or --dynamic"));
  EXPECT_TRUE(fails({"poa", "set", "Bank/Accounts", "--dynamic", "perhaps"}, USAGE, "poaloc poa set --help"));
  EXPECT_TRUE(fails({"poa", "set", "Bank/Accounts", "--orb", "bank", "--no-orb"}, USAGE, "poaloc poa set --help"));
  EXPECT_TRUE(fails({"poa", "set", "Bank", "--orb", "bank"}, REFUSED, "\"Bank\" is a namespace"));
  EXPECT_TRUE(fails({"poa", "set", "Bank/Cellar", "--no-orb"}, NOT_FOUND, "There is no POA \"Bank/Cellar\""));
  EXPECT_EQ(repository(), before);
}

TEST_F(PoaTest, RemoveTakesWhatIsBelowToo) {
  EXPECT_EQ(table({"poa", "remove", "Bank", "--yes"}), "POA Bank removed.\n");
  EXPECT_THAT(table({"poa", "list"}), IsEmpty());
  does({"poa", "add", "Bank"});
  EXPECT_EQ(line({"--yes", "poa", "remove", "Bank"}), Json({{"removed", "Bank"}}));
}

TEST_F(PoaTest, RemoveThatCannotBeChangesNothing) {
  const std::string before = repository();
  EXPECT_TRUE(fails({"poa", "remove", "Bank"}, NOT_CONFIRMED, "repeat it with --yes"));
  EXPECT_TRUE(fails({"poa", "remove", "/", "--yes"}, REFUSED, "The root cannot be removed"));
  EXPECT_TRUE(fails({"poa", "remove", "Bank/Cellar", "--yes"}, NOT_FOUND, "There is no POA \"Bank/Cellar\""));
  EXPECT_EQ(repository(), before);
}

// Anybody who may register chooses names, and no name may do more than be shown.
TEST_F(PoaTest, StrangeNamesAreShownSafelyAndFoundAgain) {
  const Words names{"Größe", "a\\/b",    "back\\\\slash", "two words", "bell\a\033[2J", "\u009b31m", "\u202egnp",
                    "漢字",  "\xff\xfe", "--help",        "-"};
  for (const std::string& name : names) does({"poa", "add", "--", name});
  const std::string shown = table({"poa", "list"}) + table({"poa", "tree"});
  for (const char* never : {"\a", "\033", "\u009b", "\u202e", "\xff"}) EXPECT_THAT(shown, Not(HasSubstr(never)));
  EXPECT_THAT(shown, HasSubstr("bell\\x07\\x1b[2J  yes"));
  EXPECT_THAT(shown, HasSubstr("\\xff\\xfe"));
  EXPECT_THAT(shown, HasSubstr("Größe            yes         no       -\n"));
  EXPECT_THAT(shown, HasSubstr("漢字             yes         no       -\n"));
  EXPECT_THAT(shown, HasSubstr("── a/b  (no ORB)"));
  for (const std::string& name : names) {
    if (name != "\xff\xfe") EXPECT_EQ(line({"poa", "show", "--", name})["name"], name);
    EXPECT_THAT(table({"poa", "show", "--", name}), HasSubstr("Persistent"));
  }
  for (const std::string& name : names) does({"--yes", "poa", "remove", "--", name});
  EXPECT_EQ(lines({"poa", "list"}).size(), 3U);
}

TEST_F(PoaTest, SeveralMayAddTheSameParentsAtOnce) {
  constexpr int ROUNDS = 4;
  constexpr int ADMINISTRATORS = 8;
  for (int round = 0; round < ROUNDS; ++round) {
    const std::string parent = "R" + std::to_string(round) + "/A/B";
    std::vector<std::unique_ptr<support::ChildProcess>> adding;
    std::vector<std::string> errors;
    for (int i = 0; i < ADMINISTRATORS; ++i) {
      const auto spec = command({"poa", "add", "--parents", parent + "/C" + std::to_string(i)});
      errors.push_back(spec.stderr_path);
      adding.push_back(std::make_unique<support::ChildProcess>(spec));
    }
    for (int i = 0; i < ADMINISTRATORS; ++i) {
      EXPECT_EQ(adding[i]->wait(), SUCCESS);
      EXPECT_EQ(support::read_file(errors[i]), "");
    }
    EXPECT_EQ(lines({"poa", "list", parent}).size(), 1U + ADMINISTRATORS);
  }
}

}  // namespace
