// Tables of the host's repository and locator, and destroying ORBs.
#include <gmock/gmock.h>

#include "daemon/configuration_error.h"
#include "platform/pss/transaction_guard.h"
#include "tests/unit/daemon/fake_active_orb.h"
#include "tests/unit/daemon/host_fixture.h"

namespace {

using namespace poalocd;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

std::vector<std::string> names(const QZ_LocatorInternal::ActiveORBList& orbs) {
  std::vector<std::string> result;
  for (CORBA::ULong i = 0; i < orbs.length(); ++i) {
    const CORBA::String_var name = orbs[i]->name();
    result.emplace_back(name.in());
  }
  return result;
}

class ActiveOrbRegistryTest : public HostFixture {
 protected:
  QZ_LocatorInternal::ActiveORBRegistry_ptr registry() { return &host().locator().active_orbs(); }
  std::vector<std::string> list() {
    const QZ_LocatorInternal::ActiveORBList_var orbs = registry()->list();
    return names(orbs.in());
  }
};

TEST_F(ActiveOrbRegistryTest, ListsInTheOrderOfInsertion) {
  open();
  for (const char* name : {"c", "a", "b"}) registry()->insert(make_orb(name).get());
  EXPECT_THAT(list(), ElementsAre("c", "a", "b"));
  registry()->remove("a");
  registry()->insert(make_orb("a").get());
  EXPECT_THAT(list(), ElementsAre("c", "b", "a"));
  EXPECT_EQ(registry()->number_of_entries(), 3u);
}

TEST_F(ActiveOrbRegistryTest, FindsByName) {
  open();
  const auto orb = make_orb("a");
  registry()->insert(orb.get());
  const QZ_LocatorInternal::ActiveORB_var found = registry()->find("a");
  EXPECT_EQ(found.in(), static_cast<QZ_LocatorInternal::ActiveORB_ptr>(orb.get()));
  const QZ_LocatorInternal::ActiveORB_var none = registry()->find("A");
  EXPECT_TRUE(CORBA::is_nil(none));
}

TEST_F(ActiveOrbRegistryTest, ListsByProcess) {
  add_process("bank", {"/bin/true"});
  open();
  const auto bank = process("bank");
  registry()->insert(make_orb("one", bank).get());
  registry()->insert(make_orb("manual").get());
  registry()->insert(make_orb("two", bank).get());
  const QZ_LocatorInternal::ActiveORBList_var of_bank = registry()->list_by_process("bank");
  EXPECT_THAT(names(of_bank.in()), ElementsAre("one", "two"));
  const QZ_LocatorInternal::ActiveORBList_var of_other = registry()->list_by_process("other");
  EXPECT_THAT(names(of_other.in()), IsEmpty());
}

TEST_F(ActiveOrbRegistryTest, RefusesTakenNamesNilAndUnknownNames) {
  open();
  registry()->insert(make_orb("a").get());
  EXPECT_THROW(registry()->insert(make_orb("a").get()), CORBA::BAD_PARAM);
  EXPECT_THROW(registry()->insert(QZ_LocatorInternal::ActiveORB::_nil()), CORBA::BAD_PARAM);
  EXPECT_THROW(registry()->remove("b"), CORBA::OBJECT_NOT_EXIST);
  EXPECT_THAT(list(), ElementsAre("a"));
}

class FakeOaLocator : public virtual QZ_LocatorInternal::OALocator, public QZ_CORBA::RefCountedLocalObject {
 public:
  char* name() override { return CORBA::string_dup("fake"); }
};

TEST_F(HostFixture, OaLocatorRegistryRefusesTakenNamesAndIgnoresUnknownOnes) {
  open();
  const QZ_LocatorInternal::OALocatorRegistry_var registry = host().locator().oa_locator_registry();
  const RefCountHandle<FakeOaLocator> fake(new FakeOaLocator);
  registry->register_locator("fake", fake.get());
  EXPECT_THROW(registry->register_locator("fake", fake.get()), CORBA::BAD_PARAM);
  EXPECT_THROW(registry->register_locator("nil", QZ_LocatorInternal::OALocator::_nil()), CORBA::BAD_PARAM);
  registry->unregister_locator("unknown");
  registry->unregister_locator("fake");
  registry->register_locator("fake", fake.get());
}

TEST_F(HostFixture, LocatorKnowsItsOrbAndDomain) {
  m_config.set_domain("my domain");
  open();
  const CORBA::ORB_var orb = QZ_CORBA::orb_of(&host().locator());
  EXPECT_EQ(orb.in(), host().orb_nc());
  const CORBA::String_var domain = host().locator().domain_name();
  EXPECT_STREQ(domain.in(), "my domain");
}

TEST_F(HostFixture, LocatorMakesKnownOnlyWhatCanBeServed) {
  open();
  const CORBA::Object_var reference = host().orb_nc()->string_to_object("corbaloc::127.0.0.1:1/x");
  auto& locator = host().locator();
  EXPECT_THROW(locator.make_known("", reference, 0), CORBA::BAD_PARAM);
  EXPECT_THROW(locator.make_known("name", CORBA::Object::_nil(), 0), CORBA::BAD_PARAM);
  EXPECT_THROW(locator.make_known("name", reference, 2), CORBA::BAD_PARAM);
  locator.make_known("name", reference, QZ_LocatorInternal::ROLE_SERVER);
  const std::string key = "name";
  const auto octets = std::span(reinterpret_cast<const unsigned char*>(key.data()), key.size());
  const QZ_IOR::IOR_var found = host().binding_manager().find_name(octets, std::vector<int>{0});
  EXPECT_FALSE(CORBA::is_nil(found));
  const QZ_IOR::IOR_var hidden = host().binding_manager().find_name(octets, std::vector<int>{1});
  EXPECT_TRUE(CORBA::is_nil(hidden));
}

TEST_F(HostFixture, ActiveProcessesAreShownWhileTheyRunOrAreNeeded) {
  add_process("bank", {"sleep", "1000"});
  open();
  EXPECT_TRUE(CORBA::is_nil(QZ_LocatorInternal::ActiveProcess_var(processes().find("bank"))));
  EXPECT_TRUE(CORBA::is_nil(QZ_LocatorInternal::ActiveProcess_var(processes().find("unknown"))));
  EXPECT_THROW(processes().create(QZ_IMRInternal::Process::_nil(), false), CORBA::BAD_PARAM);
  const auto bank = process("bank");
  bank->add_orb(make_orb("bank").get());
  const QZ_LocatorInternal::ActiveProcess_var found = processes().find("bank");
  EXPECT_EQ(found.in(), bank.in());
  bank->remove_orb("unknown");
  bank->remove_orb("bank");
  EXPECT_TRUE(CORBA::is_nil(QZ_LocatorInternal::ActiveProcess_var(processes().find("bank"))));
  // The same object for the same process, whoever asks.
  EXPECT_EQ(process("bank").in(), bank.in());
}

class ImrTest : public HostFixture {
 protected:
  std::vector<std::string> orbs_of(const char* process_name) {
    QZ_IMRInternal::ORBList_var orbs = host().imr().orbs().list_by_process(process_name);
    std::vector<std::string> result;
    for (CORBA::ULong i = 0; i < orbs->length(); ++i) {
      const CORBA::String_var name = orbs[i]->name();
      result.emplace_back(name.in());
    }
    return result;
  }
  std::string process_of(const char* orb_name) {
    const QZ_IMRInternal::ORB_var orb = host().imr().orbs().find(orb_name);
    if (CORBA::is_nil(orb)) return "(no orb)";
    const QZ_IMRInternal::Process_var found = orb->get_process();
    if (CORBA::is_nil(found)) return "(none)";
    const CORBA::String_var name = found->name();
    return name.in();
  }
};

TEST_F(ImrTest, HoldsWhatIsConfigured) {
  m_config.add_process({"bank", {"/bin/bank"}, {}});
  m_config.add_orb("z", "bank");
  m_config.add_orb("a", "bank");
  m_config.add_orb("manual", "");
  open();
  EXPECT_THAT(orbs_of("bank"), ElementsAre("z", "a"));
  EXPECT_EQ(process_of("z"), "bank");
  EXPECT_EQ(process_of("manual"), "(none)");
  EXPECT_EQ(process_of("unknown"), "(no orb)");
  const QZ_IMRInternal::ORB_var orb = host().imr().orbs().find("z");
  const QZ_LocationCommon::ORBInfo_var info = orb->info();
  EXPECT_STREQ(info->name, "z");
  EXPECT_STREQ(info->process, "bank");
}

TEST_F(ImrTest, KeepsWhatWasConfiguredOrAddedBefore) {
  m_config.add_process({"bank", {"/bin/bank", "-x"}, {{"environment", "{ A = \"b=c\" }"}, {"stop_grace", "1.25"}}});
  m_config.add_orb("bank", "bank");
  open();
  CORBA::release(host().imr().orbs().add("added"));
  close();
  m_config = initial_config();
  open();
  EXPECT_EQ(process_of("bank"), "bank");
  EXPECT_EQ(process_of("added"), "(none)");
  const QZ_IMRInternal::Process_var bank = host().imr().processes().find("bank");
  const auto& settings = dynamic_cast<ImrProcess&>(*bank.in()).settings();
  EXPECT_THAT(settings.argv, ElementsAre("/bin/bank", "-x"));
  EXPECT_THAT(settings.environment, ElementsAre(testing::Pair("A", "b=c")));
  EXPECT_EQ(settings.stop_grace.count(), 1250);
}

TEST_F(ImrTest, ConfigurationFillsOnlyAnEmptyStore) {
  m_config.add_process({"bank", {"/bin/old"}, {}});
  open();
  EXPECT_THAT(events(CONFIGURED_ENTRIES_IGNORED_EVENT), IsEmpty());
  CORBA::release(host().imr().orbs().add("teller"));
  close();
  m_config.clear_processes();
  m_config.add_process({"bank", {"/bin/new"}, {}});
  m_config.add_process({"shop", {"/bin/shop"}, {}});
  m_config.add_orb("teller", "no such process");
  open();
  EXPECT_THAT(host().imr().processes().get("bank")->settings().argv, ElementsAre("/bin/old"));
  EXPECT_TRUE(host().imr().processes().get("shop").is_null());
  EXPECT_EQ(process_of("teller"), "(none)");
  ASSERT_THAT(events(CONFIGURED_ENTRIES_IGNORED_EVENT), SizeIs(1));
  EXPECT_THAT(events(CONFIGURED_ENTRIES_IGNORED_EVENT)[0].message, testing::HasSubstr("ORBs (3)"));
}

TEST_F(ImrTest, ConfigurationWithoutEntriesIsNoReasonToSpeak) {
  m_config.add_orb("teller", "");
  open();
  close();
  m_config = initial_config();
  open();
  EXPECT_EQ(process_of("teller"), "(none)");
  EXPECT_THAT(events(CONFIGURED_ENTRIES_IGNORED_EVENT), IsEmpty());
}

TEST_F(ImrTest, RefusesAnOrbOfAnUnknownProcess) {
  m_config.add_orb("teller", "bank");
  try {
    open();
    FAIL() << "an ORB without its process was accepted";
  } catch (const ConfigurationError& e) {
    EXPECT_STREQ(e.what(), "orb \"teller\": there is no process \"bank\"; add a [[process]] of that name");
  }
}

TEST_F(ImrTest, AddsOrbsWithoutAProcessOnce) {
  open();
  auto& orbs = host().imr().orbs();
  const QZ_IMRInternal::ORB_var one = orbs.add("added");
  const QZ_IMRInternal::ORB_var two = orbs.add("added");
  EXPECT_EQ(one.in(), two.in());
  EXPECT_EQ(process_of("added"), "(none)");
  EXPECT_THAT(events(ORB_ADDED_EVENT), SizeIs(1));
  EXPECT_THROW(orbs.add(""), CORBA::BAD_PARAM);
}

TEST_F(ImrTest, AddsOrbsWithinTheCallersTransaction) {
  open();
  {
    QZ_PSS::TransactionGuard guard(host().tx_current_nc());
    CORBA::release(host().imr().orbs().add("added"));
    guard.commit();
  }
  close();
  open();
  EXPECT_EQ(process_of("added"), "(none)");
}

// Notes what it is told, and refuses when asked to.
class FakeOaImr : public virtual QZ_IMRInternal::OAIMR, public QZ_CORBA::RefCountedLocalObject {
 public:
  explicit FakeOaImr(std::vector<std::string>& calls) : m_calls(calls) {}
  char* name() override { return CORBA::string_dup("fake"); }
  void orb_pre_destroy(QZ_IMRInternal::ORB_ptr which, QZ_LocationCommon::DestroyType type) override {
    const CORBA::String_var name = which->name();
    m_calls.push_back(std::string(name.in()) + " " + std::to_string(type));
    if (!refuses || type != QZ_LocationCommon::DESTROY_NORMAL) return;
    QZ_LocationCommon::ReferenceList references;
    references.length(1);
    references[0] = "P/Q";
    throw QZ_LocationCommon::HasReferences(references);
  }
  void process_pre_destroy(QZ_IMRInternal::Process_ptr, QZ_LocationCommon::DestroyType) override {}
  void destroy() override {}

  bool refuses = false;

 private:
  std::vector<std::string>& m_calls;
};

class DestroyOrbTest : public ImrTest {
 protected:
  RefCountHandle<FakeOaImr> add_repository(const char* name) {
    RefCountHandle<FakeOaImr> result(new FakeOaImr(m_calls));
    const QZ_IMRInternal::OAIMRRegistry_var registry = host().imr().oa_imr_registry();
    registry->register_imr(name, result.get());
    return result;
  }

  std::vector<std::string> m_calls;
};

TEST_F(DestroyOrbTest, AsksEveryRepositoryFirstAndForgetsTheOrb) {
  m_config.add_process({"bank", {"/bin/bank"}, {}});
  m_config.add_orb("teller", "bank");
  m_config.add_orb("vault", "bank");
  open();
  add_repository("one");
  add_repository("two");
  host().destroy_orb("teller", QZ_LocationCommon::DESTROY_DEEP);
  EXPECT_THAT(m_calls, ElementsAre("teller 2", "teller 2"));
  EXPECT_EQ(process_of("teller"), "(no orb)");
  EXPECT_THAT(orbs_of("bank"), ElementsAre("vault"));
  EXPECT_THAT(events(ORB_DESTROYED_EVENT), SizeIs(1));
}

TEST_F(DestroyOrbTest, IsGoneFromTheStoreToo) {
  open();
  CORBA::release(host().imr().orbs().add("added"));
  host().destroy_orb("added", QZ_LocationCommon::DESTROY_NORMAL);
  close();
  open();
  EXPECT_EQ(process_of("added"), "(no orb)");
}

TEST_F(DestroyOrbTest, KeepsTheOrbWhenARepositoryRefuses) {
  m_config.add_orb("teller", "");
  open();
  const auto repository = add_repository("one");
  repository->refuses = true;
  try {
    host().destroy_orb("teller", QZ_LocationCommon::DESTROY_NORMAL);
    FAIL() << "destroyed in spite of a reference";
  } catch (const QZ_LocationCommon::HasReferences& e) {
    ASSERT_EQ(e.references.length(), 1u);
    EXPECT_STREQ(e.references[0], "P/Q");
  }
  EXPECT_EQ(process_of("teller"), "(none)");
  host().destroy_orb("teller", QZ_LocationCommon::DESTROY_FORCE);
  EXPECT_EQ(process_of("teller"), "(no orb)");
}

TEST_F(DestroyOrbTest, SaysThatAnUnknownOrbDoesNotExist) {
  open();
  add_repository("one");
  EXPECT_THROW(host().destroy_orb("teller", QZ_LocationCommon::DESTROY_NORMAL), CORBA::OBJECT_NOT_EXIST);
  EXPECT_THAT(m_calls, IsEmpty());
}

TEST_F(DestroyOrbTest, AsksNoRepositoryThatHasUnregistered) {
  m_config.add_orb("teller", "");
  open();
  const auto repository = add_repository("one");
  const QZ_IMRInternal::OAIMRRegistry_var registry = host().imr().oa_imr_registry();
  EXPECT_THROW(registry->register_imr("one", repository.get()), CORBA::BAD_PARAM);
  registry->unregister_imr("unknown");
  registry->unregister_imr("one");
  host().destroy_orb("teller", QZ_LocationCommon::DESTROY_NORMAL);
  EXPECT_THAT(m_calls, IsEmpty());
}

}  // namespace
