// poaloc active: what runs.
#include "tests/system/cli/cli_test.h"

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;

class ActiveTest : public CliTest {
 protected:
  void SetUp() override {
    CliTest::SetUp();
    add_server("bank", {"Bank", "Bank/Accounts"});
    m_pid = start_server("bank");
  }

  std::size_t active() { return lines({"active", "list"}).size(); }

  pid_t m_pid = 0;
};

TEST_F(ActiveTest, ListShowsPoasWithTheirOrbs) {
  const auto list = lines({"active", "list"});
  ASSERT_EQ(list.size(), 2U);
  const std::string since = list[0]["since"];
  EXPECT_THAT(since, MatchesRegex("[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}Z"));
  std::set<std::string> names;
  for (const Json& poa : list) {
    names.insert(poa["name"]);
    Json rest = poa;
    rest.erase("name");
    EXPECT_EQ(rest, Json({{"orb", "bank"},
                          {"process", "bank"},
                          {"state", "running"},
                          {"pid", m_pid},
                          {"since", since},
                          {"activator_held", true}}));
  }
  EXPECT_EQ(names, (std::set<std::string>{"Bank", "Bank/Accounts"}));

  const Words rows = split_lines(table({"active", "list"}));
  ASSERT_EQ(rows.size(), 3U);
  EXPECT_THAT(cells(rows[0]), ElementsAre("POA", "ORB", "PROCESS", "STATE", "PID", "SINCE", "ACTIVATOR"));
  EXPECT_THAT(cells(rows[1]), ElementsAre(list[0]["name"].get<std::string>(), "bank", "bank", "running",
                                          std::to_string(m_pid), since, "yes"));
}

TEST_F(ActiveTest, ListOfOrbs) {
  support::FakeServer shop(m_locator, "shop");
  shop.add("Shop");
  const auto list = lines({"active", "list", "--orbs"});
  ASSERT_EQ(list.size(), 2U);
  const Json& fake = list[0]["name"] == "shop" ? list[0] : list[1];
  EXPECT_EQ(fake["process"], nullptr);
  EXPECT_EQ(fake["pid"], nullptr);
  EXPECT_EQ(fake["activator_held"], false);
  EXPECT_EQ(fake["active_poas"], 1);
  const Words rows = split_lines(table({"active", "list", "--orbs", "--orb", "bank"}));
  ASSERT_EQ(rows.size(), 2U);
  EXPECT_THAT(cells(rows[0]), ElementsAre("ORB", "PROCESS", "STATE", "PID", "SINCE", "ACTIVATOR", "ACTIVE POAS"));
  EXPECT_EQ(cells(rows[1]).back(), "2");
  const auto of_shop = lines({"active", "list", "--orb", "shop"});
  ASSERT_EQ(of_shop.size(), 1U);
  EXPECT_EQ(of_shop[0]["name"], "Shop");
  EXPECT_TRUE(fails({"active", "list", "Bank"}, USAGE, "poaloc active list --help"));
}

TEST_F(ActiveTest, ShowTellsAllOfOnePoa) {
  const Json shown = line({"active", "show", "Bank/Accounts"});
  EXPECT_EQ(shown["orb"], "bank");
  EXPECT_EQ(shown["pid"], m_pid);
  EXPECT_EQ(shown["endpoint_id"], line({"poa", "show", "Bank/Accounts"})["endpoint_id"]);
  EXPECT_EQ(line({"poa", "show", "Bank/Accounts"})["active"], true);
  EXPECT_THAT(table({"active", "show", "Bank/Accounts"}),
              HasSubstr("POA          Bank/Accounts\nORB          bank\nProcess      bank\nState        running\n"));
  EXPECT_TRUE(fails({"active", "show", "Bank/Cellar"}, NOT_FOUND,
                    "POA \"Bank/Cellar\" is not active: \"poaloc active list\" shows what is"));
}

TEST_F(ActiveTest, RemoveForgetsOnePoaOrAWholeOrb) {
  EXPECT_TRUE(fails({"active", "remove", "Bank/Accounts"}, NOT_CONFIRMED, "repeat it with --yes"));
  EXPECT_EQ(active(), 2U);
  EXPECT_EQ(table({"active", "remove", "Bank/Accounts", "--yes"}),
            "POA Bank/Accounts does not count as active any more.\n");
  EXPECT_EQ(active(), 1U);
  EXPECT_EQ(line({"active", "remove", "--orb", "bank", "--yes"}), Json({{"removed", "bank"}}));
  EXPECT_THAT(table({"active", "list"}), IsEmpty());
  EXPECT_EQ(lines({"poa", "list"}).size(), 2U);
  EXPECT_TRUE(support::runs(m_pid));
}

TEST_F(ActiveTest, RemoveThatCannotBeChangesNothing) {
  EXPECT_TRUE(fails({"active", "remove", "--yes"}, USAGE, "--orb"));
  EXPECT_TRUE(fails({"active", "remove", "Bank", "--orb", "bank", "--yes"}, USAGE, "--orb"));
  EXPECT_TRUE(fails({"active", "remove", "Bank/Cellar", "--yes"}, NOT_FOUND, "POA \"Bank/Cellar\" is not active"));
  EXPECT_TRUE(fails({"active", "remove", "--orb", "none", "--yes"}, NOT_FOUND, "ORB \"none\" is not active"));
  EXPECT_EQ(active(), 2U);
}

}  // namespace
