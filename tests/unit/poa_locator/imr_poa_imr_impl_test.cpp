#include <gmock/gmock.h>

#include <functional>
#include <thread>

#include "poa_locator/plugin/gate_pass.h"
#include "tests/support/wait.h"
#include "tests/unit/poa_locator/plugin_fixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Names = std::vector<std::string>;

class OrbDestructionHook : public PluginFixture {
 protected:
  OrbDestructionHook() {
    for (const char* orb_name : {"orb", "other", "idle"}) config().add_orb(orb_name, "");
    start();
    Endpoint p = registry().root().add("P", false, true, "");
    p.add("Q", true, true, "orb").add("Below", true, true, "other");
    p.add("R", true, true, "orb");
    log().clear();
  }

  void pre_destroy(const char* orb_name, QZ_LocationCommon::DestroyType type) {
    const QZ_IMRInternal::ORB_var orb_of_host = host().imr().orbs().find(orb_name);
    poa_imr().orb_pre_destroy(orb_of_host, type);
  }
  Names registered_imrs() {
    Names names;
    const QZ_IMRInternal::OAIMRRegistry_var registry_of_host = host().imr().oa_imr_registry();
    for (const auto& imr : dynamic_cast<poalocd::OaImrRegistryImpl&>(*registry_of_host.in()).list()) {
      names.emplace_back(CORBA::String_var(imr->name()));
    }
    return names;
  }
  bool exists(const Names& name) { return !registry().find(*fqpn_of(name)).is_null(); }
  std::string orb_of(const Names& name) { return registry().find(*fqpn_of(name)).orb_name(); }
};

TEST_F(OrbDestructionHook, IsRegisteredWithTheHostWhileItLives) {
  EXPECT_STREQ(CORBA::String_var(poa_imr().name()), "POAIMR");
  EXPECT_THAT(registered_imrs(), ElementsAre("POAIMR"));
  const QZ_IMRInternal::OAIMRRegistry_var registry_of_host = host().imr().oa_imr_registry();
  host().stop();
  core().impl_shutdown();
  core().m_poa_imr.reset();
  EXPECT_THAT(registered_imrs(), IsEmpty());
}

TEST_F(OrbDestructionHook, ATakenNameFailsItAndLeavesNothingBehind) {
  core().m_poa_imr.reset();
  const QZ_IMRInternal::OAIMRRegistry_var registry_of_host = host().imr().oa_imr_registry();
  {
    const POAIMRImpl first(core(), registry_of_host);
    EXPECT_THROW(POAIMRImpl(core(), QZ_IMRInternal::OAIMRRegistry::_nil()), PortableServer::POA::AdapterAlreadyExists);
    EXPECT_THAT(registered_imrs(), ElementsAre("POAIMR"));
  }
  struct Taken : virtual QZ_IMRInternal::OAIMR, QZ_CORBA::RefCountedLocalObject {
    char* name() override { return CORBA::string_dup("taken"); }
    void orb_pre_destroy(QZ_IMRInternal::ORB_ptr, QZ_LocationCommon::DestroyType) override {}
    void process_pre_destroy(QZ_IMRInternal::Process_ptr, QZ_LocationCommon::DestroyType) override {}
    void destroy() override {}
  };
  const QZ_IMRInternal::OAIMR_var taken = new Taken;
  registry_of_host->register_imr("POAIMR", taken);
  EXPECT_THROW(POAIMRImpl(core(), registry_of_host), CORBA::BAD_PARAM);
  registry_of_host->unregister_imr("POAIMR");
  EXPECT_NO_THROW(POAIMRImpl(core(), registry_of_host));
}

TEST_F(OrbDestructionHook, WithoutARegistryItIsRegisteredNowhere) {
  core().m_poa_imr.reset();
  const POAIMRImpl alone(core(), QZ_IMRInternal::OAIMRRegistry::_nil());
  EXPECT_THAT(registered_imrs(), IsEmpty());
}

TEST_F(OrbDestructionHook, IsAskedWhenTheHostDestroysAnOrb) {
  EXPECT_THROW(host().destroy_orb("orb", QZ_LocationCommon::DESTROY_NORMAL), QZ_LocationCommon::HasReferences);
  EXPECT_FALSE(CORBA::is_nil(QZ_IMRInternal::ORB_var(host().imr().orbs().find("orb"))));
  host().destroy_orb("orb", QZ_LocationCommon::DESTROY_DEEP);
  EXPECT_TRUE(CORBA::is_nil(QZ_IMRInternal::ORB_var(host().imr().orbs().find("orb"))));
  EXPECT_FALSE(exists({"P", "Q"}));
  EXPECT_NO_THROW(host().destroy_orb("idle", QZ_LocationCommon::DESTROY_NORMAL));
}

TEST_F(OrbDestructionHook, NormalDestructionOfAnOrbWithoutEntriesIsSilent) {
  EXPECT_NO_THROW(pre_destroy("idle", QZ_LocationCommon::DESTROY_NORMAL));
  EXPECT_THAT(log().events(), IsEmpty());
}

TEST_F(OrbDestructionHook, NormalDestructionNamesTheEntriesThatTheOrbOwns) {
  try {
    pre_destroy("orb", QZ_LocationCommon::DESTROY_NORMAL);
    FAIL() << "no exception";
  } catch (const QZ_LocationCommon::HasReferences& refusal) {
    ASSERT_EQ(refusal.references.length(), 2u);
    EXPECT_STREQ(refusal.references[0], "P/Q");
    EXPECT_STREQ(refusal.references[1], "P/R");
  }
  EXPECT_EQ(orb_of({"P", "Q"}), "orb");
}

TEST_F(OrbDestructionHook, ForcedDestructionDetachesTheEntries) {
  pre_destroy("orb", QZ_LocationCommon::DESTROY_FORCE);
  EXPECT_EQ(orb_of({"P", "Q"}), "");
  EXPECT_EQ(orb_of({"P", "R"}), "");
  EXPECT_EQ(orb_of({"P", "Q", "Below"}), "other");
  EXPECT_TRUE(registry().find(*fqpn_of({"P", "Q"})).persistent());
  EXPECT_THAT(registry().list_in_orb("orb"), IsEmpty());
  EXPECT_THAT(log().events(), IsEmpty());
}

TEST_F(OrbDestructionHook, ForcedDestructionChangesNothingButTheOrbNames) {
  registry().find(*fqpn_of({"P", "R"})).allow_dynamic_registration(false);
  registry().find(*fqpn_of({"P", "R"})).creation_seq_nbr(3);
  // Everything of an entry and of those below it, but its ORB.
  const std::function<Names(const Endpoint&)> snapshot = [&](const Endpoint& entry) {
    Names all{octets(entry.id()) + entry.name() + (entry.persistent() ? "p" : "t") +
              (entry.allow_dynamic_registration() ? "+" : "-") + std::to_string(entry.creation_seq_nbr())};
    for (const Endpoint& child : entry.children()) {
      const Names below = snapshot(child);
      all.insert(all.end(), below.begin(), below.end());
    }
    return all;
  };
  const Names before = snapshot(registry().root());
  pre_destroy("orb", QZ_LocationCommon::DESTROY_FORCE);
  EXPECT_EQ(before.size(), 5u);
  EXPECT_EQ(snapshot(registry().root()), before);
}

TEST_F(OrbDestructionHook, DeepDestructionDeletesTheEntriesWithTheirSubtrees) {
  pre_destroy("orb", QZ_LocationCommon::DESTROY_DEEP);
  EXPECT_TRUE(exists({"P"}));
  EXPECT_FALSE(exists({"P", "Q"}));
  EXPECT_FALSE(exists({"P", "Q", "Below"}));
  EXPECT_FALSE(exists({"P", "R"}));
}

TEST_F(OrbDestructionHook, UnknownKindsOfDestructionDoNothing) {
  pre_destroy("orb", static_cast<QZ_LocationCommon::DestroyType>(3));
  EXPECT_EQ(orb_of({"P", "Q"}), "orb");
}

TEST_F(OrbDestructionHook, DestructionOfAProcessChangesNothing) {
  for (const auto type :
       {QZ_LocationCommon::DESTROY_NORMAL, QZ_LocationCommon::DESTROY_FORCE, QZ_LocationCommon::DESTROY_DEEP}) {
    EXPECT_NO_THROW(poa_imr().process_pre_destroy(QZ_IMRInternal::Process::_nil(), type));
  }
  EXPECT_EQ(orb_of({"P", "Q"}), "orb");
  EXPECT_THAT(log().events(), IsEmpty());
}

TEST_F(OrbDestructionHook, CannotBeDestroyedByTheHost) {
  try {
    poa_imr().destroy();
    FAIL() << "no exception";
  } catch (const CORBA::NO_IMPLEMENT& ex) {
    EXPECT_EQ(ex.minor(), 0x515A0C00u);
    EXPECT_EQ(ex.completed(), CORBA::COMPLETED_NO);
  }
}

class OneEntry : public virtual QZ_IMRInternal::POAEntrySource, public QZ_CORBA::RefCountedLocalObject {
 public:
  void rewind() override { m_given = false; }
  CORBA::Boolean next(QZ_IMRAdmin::POAEntry_out entry) override {
    entry = new QZ_IMRAdmin::POAEntry;
    entry->name = *fqpn_of({"Imported"});
    entry->persistent = true;
    entry->allow_dynamic_registration = true;
    return !std::exchange(m_given, true);
  }

 private:
  bool m_given = false;
};

class Listener : public virtual QZ_IMRInternal::ImportListener, public QZ_CORBA::RefCountedLocalObject {
 public:
  explicit Listener(std::function<void()> done = [] {}) : m_done(std::move(done)) {}

  CORBA::Boolean entry_done() override {
    m_done();
    return true;
  }
  void problem(const char*, const char* reason) override { ADD_FAILURE() << reason; }

 private:
  const std::function<void()> m_done;
};

TEST_F(OrbDestructionHook, AHostThatAsksWhenTheCoreHasGoneMayAskAgainLater) {
  const QZ_IMRInternal::POARepository_var repository = QZ_IMRInternal::POARepository::_duplicate(&poa_imr());
  const QZ_IMRInternal::ORB_var orb_of_host = host().imr().orbs().find("orb");
  host().stop();
  core().impl_shutdown();
  m_core = {};
  const QZ_IMRInternal::POAEntrySource_var entries = new OneEntry;
  const QZ_IMRInternal::ImportListener_var listener = new Listener;
  const auto expect_transient = [](const auto& call) {
    try {
      call();
      ADD_FAILURE() << "no exception";
    } catch (const CORBA::TRANSIENT& ex) {
      EXPECT_EQ(ex.minor(), 0x515A0C03u);
      EXPECT_EQ(ex.completed(), CORBA::COMPLETED_NO);
    }
  };
  expect_transient([&] { repository->orb_pre_destroy(orb_of_host, QZ_LocationCommon::DESTROY_NORMAL); });
  expect_transient([&] { repository->orb_pre_destroy(orb_of_host, QZ_LocationCommon::DESTROY_DEEP); });
  expect_transient([&] { repository->number_of_entries(); });
  expect_transient([&] {
    CORBA::String_var next;
    const QZ_IMRAdmin::POAEntryList_var page = repository->list("", 10, next.out());
  });
  expect_transient([&] { repository->check(entries, QZ_IMRAdmin::IMPORT_ADD, listener); });
  expect_transient([&] { repository->write(entries, QZ_IMRAdmin::IMPORT_ADD, listener); });
  EXPECT_STREQ(CORBA::String_var(repository->name()), "POAIMR");
  EXPECT_NO_THROW(repository->process_pre_destroy(QZ_IMRInternal::Process::_nil(), QZ_LocationCommon::DESTROY_NORMAL));
}

TEST_F(OrbDestructionHook, ACallOfTheHostIsFinishedBeforeTheCoreEnds) {
  const QZ_IMRInternal::POARepository_var repository = QZ_IMRInternal::POARepository::_duplicate(&poa_imr());
  const std::shared_ptr<Gate> gate = core().impl_gate();
  host().stop();
  core().impl_shutdown();
  std::atomic<bool> ended{false};
  std::jthread end;
  const QZ_IMRInternal::POAEntrySource_var entries = new OneEntry;
  const QZ_IMRInternal::ImportListener_var listener = new Listener([&] {
    end = std::jthread([&] {
      m_core = {};
      ended = true;
    });
    EXPECT_TRUE(support::wait_until([&] { return !GatePass(gate); }));
    EXPECT_FALSE(ended);
  });
  EXPECT_EQ(repository->check(entries, QZ_IMRAdmin::IMPORT_ADD, listener).added, 1u);
  end.join();
  EXPECT_TRUE(ended);
}

}  // namespace
