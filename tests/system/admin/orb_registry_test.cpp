// Server ORBs, administered over the wire.
#include "tests/support/fake_server.h"
#include "tests/system/admin/admin_test.h"

namespace {

using namespace QZ_LocationCommon;
using QZ_IMRAdmin::ORB_var;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Optional;

class ORBRegistryTest : public AdminTest {};

TEST_F(ORBRegistryTest, AddedORBIsThereAtOnceAndAfterAKill) {
  add_process("bank");
  const ORB_var added = add_orb("teller", "bank");
  EXPECT_STREQ(CORBA::String_var(added->name()), "teller");
  add_orb("vault");
  for (int i = 0; i < 2; ++i) {
    EXPECT_THAT(orb_names(), ElementsAre("teller", "vault"));
    EXPECT_EQ(process_of("teller"), "bank");
    EXPECT_EQ(process_of("vault"), "");
    m_locator.kill9();
    m_locator.start();
  }
}

TEST_F(ORBRegistryTest, RefusesTakenNamesAndWhatCannotBe) {
  add_orb("teller");
  try {
    add_orb("teller");
    FAIL() << "a second ORB of that name was added";
  } catch (const QZ_IMRAdmin::AlreadyExists& e) {
    EXPECT_STREQ(e.name, "teller");
  }
  EXPECT_EQ(invalid_value([&] { add_orb(""); }), "name is empty");
  EXPECT_EQ(invalid_value([&] { add_orb("vault", "bank"); }), "process is not known: there is no process \"bank\"");
  EXPECT_THAT(orb_names(), ElementsAre("teller"));
  EXPECT_TRUE(CORBA::is_nil(ORB_var(orbs()->find("vault"))));
}

TEST_F(ORBRegistryTest, ChangedProcessHoldsAtOnceAndAfterARestart) {
  add_process("bank");
  add_process("shop");
  const ORB_var teller = add_orb("teller", "bank");
  teller->change_process("shop");
  EXPECT_EQ(process_of("teller"), "shop");
  EXPECT_EQ(invalid_value([&] { teller->change_process("none"); }),
            "process is not known: there is no process \"none\"");
  restart();
  EXPECT_EQ(process_of("teller"), "shop");
  ORB_var(orbs()->find("teller"))->change_process("");
  EXPECT_EQ(process_of("teller"), "");
}

TEST_F(ORBRegistryTest, ORBThatIsGoneDoesNotExist) {
  const ORB_var teller = add_orb("teller");
  teller->destroy(DESTROY_NORMAL);
  EXPECT_THROW(CORBA::String_var(teller->name()), CORBA::OBJECT_NOT_EXIST);
  EXPECT_THROW(ORBInfo_var(teller->info()), CORBA::OBJECT_NOT_EXIST);
  EXPECT_THROW(teller->change_process(""), CORBA::OBJECT_NOT_EXIST);
  EXPECT_THROW(teller->destroy(DESTROY_DEEP), CORBA::OBJECT_NOT_EXIST);
  restart();
  EXPECT_THAT(orb_names(), IsEmpty());
}

// Before and after a restart of the daemon, which must make no difference.
class ORBDestroyTest : public ORBRegistryTest, public ::testing::WithParamInterface<bool> {
 protected:
  void SetUp() override {
    AdminTest::SetUp();
    add_orb("teller");
    add_orb("vault");
    add_poa("P", "vault");
    add_poa("P/Q", "teller");
    add_poa("P/R", "teller");
    add_poa("P/R/Below", "vault");
    add_poa("Z", "vault");
    if (GetParam()) restart();
  }
  ORB_var teller() const { return orbs()->find("teller"); }
};

TEST_P(ORBDestroyTest, NormalIsRefusedWithTheListOfItsPoas) {
  EXPECT_THAT(references_of([&] { teller()->destroy(DESTROY_NORMAL); }), Optional(ElementsAre("P/Q", "P/R")));
  for (int i = 0; i < 2; ++i) {
    EXPECT_THAT(orb_names(), ElementsAre("teller", "vault"));
    EXPECT_THAT(poa_entries(), ElementsAre("P vault", "P/Q teller", "P/R teller", "P/R/Below vault", "Z vault"));
    restart();
  }
}

TEST_P(ORBDestroyTest, ForceKeepsEveryPoaAndLeavesItsOwnWithoutAnORB) {
  teller()->destroy(DESTROY_FORCE);
  for (int i = 0; i < 2; ++i) {
    EXPECT_THAT(orb_names(), ElementsAre("vault"));
    EXPECT_THAT(poa_entries(), ElementsAre("P vault", "P/Q ", "P/R ", "P/R/Below vault", "Z vault"));
    restart();
  }
}

TEST_P(ORBDestroyTest, DeepTakesItsPoasWithAllBelowThem) {
  teller()->destroy(DESTROY_DEEP);
  for (int i = 0; i < 2; ++i) {
    EXPECT_THAT(orb_names(), ElementsAre("vault"));
    EXPECT_THAT(poa_entries(), ElementsAre("P vault", "Z vault"));
    restart();
  }
}

TEST_P(ORBDestroyTest, NormalSucceedsOnceItsPoasAreGone) {
  for (const char* path : {"P/Q", "P/R"}) QZ_POAIMRAdmin::POA_var(poas()->find(full_name(path)))->destroy();
  teller()->destroy(DESTROY_NORMAL);
  EXPECT_THAT(orb_names(), ElementsAre("vault"));
  EXPECT_THAT(poa_entries(), ElementsAre("P vault", "Z vault"));
}

INSTANTIATE_TEST_SUITE_P(, ORBDestroyTest, ::testing::Bool(),
                         [](const auto& restarted) { return restarted.param ? "AfterARestart" : "AtOnce"; });

TEST_F(ORBRegistryTest, RefusalListsAllThatIsInTheWayHoweverMuch) {
  constexpr std::size_t POAS = 1000;
  const std::string long_name(3000, 'x');
  add_orb("teller");
  const QZ_POAIMRAdmin::POA_var root = poas()->root_namespace();
  for (std::size_t i = 0; i < POAS; ++i)
    QZ_POAIMRAdmin::POA_var(root->add((long_name + std::to_string(i)).c_str(), true, true, "teller"));
  EXPECT_THAT(references_of([&] { ORB_var(orbs()->find("teller"))->destroy(DESTROY_NORMAL); }),
              Optional(testing::SizeIs(POAS)));
}

TEST_F(ORBRegistryTest, ServerOfADestroyedORBMayRegisterAgain) {
  support::FakeServer server(m_locator, "server");
  server.add("Bank");
  EXPECT_THAT(references_of([&] { ORB_var(orbs()->find("server"))->destroy(DESTROY_NORMAL); }),
              Optional(ElementsAre("Bank")));
  server.remove("Bank");
  ORB_var(orbs()->find("server"))->destroy(DESTROY_DEEP);
  EXPECT_THAT(orb_names(), IsEmpty());
  EXPECT_THAT(poa_entries(), IsEmpty());
  server.add("Bank");
  EXPECT_THAT(poa_entries(), ElementsAre("Bank server"));
}

TEST_F(ORBRegistryTest, PagesListWhatIsThereThroughoutOnce) {
  for (const char* name : {"a", "c", "e"}) add_orb(name);
  const auto registry = orbs();
  CORBA::String_var next;
  QZ_IMRAdmin::ORBInfoList_var page = registry->list("", 2, next.out());
  ASSERT_EQ(page->length(), 2U);
  ORB_var(registry->find("c"))->destroy(DESTROY_NORMAL);
  add_orb("b");
  add_orb("d");
  const CORBA::String_var position = next._retn();
  page = registry->list(position, 100, next.out());
  ASSERT_EQ(page->length(), 2U);
  EXPECT_STREQ(page[0].name, "d");
  EXPECT_STREQ(page[1].name, "e");
  EXPECT_STREQ(next, "");
}

}  // namespace
