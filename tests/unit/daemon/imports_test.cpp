// Imports into the repository, with a repository of POAs that a test controls.
#include <gmock/gmock.h>

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "daemon/admin/imports.h"
#include "daemon/process_info.h"
#include "tests/unit/daemon/host_fixture.h"

namespace {

using namespace poalocd;
using namespace QZ_IMRAdmin;
using QZ_IMRInternal::ImportCounts;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::SizeIs;

// Notes the entries that it is given: "?A/B" checked, "+A/B" written.
class FakePoaRepository : public virtual QZ_IMRInternal::POARepository, public QZ_CORBA::RefCountedLocalObject {
 public:
  char* name() override { return CORBA::string_dup("fake"); }
  void orb_pre_destroy(QZ_IMRInternal::ORB_ptr, QZ_LocationCommon::DestroyType) override {}
  void process_pre_destroy(QZ_IMRInternal::Process_ptr, QZ_LocationCommon::DestroyType) override {}
  void destroy() override {}
  CORBA::ULongLong number_of_entries() override { return 0; }
  POAEntryList* list(const char*, CORBA::ULong, CORBA::String_out next) override {
    next = CORBA::string_dup("");
    return new POAEntryList;
  }
  ImportCounts check(QZ_IMRInternal::POAEntrySource_ptr entries, ImportMode,
                     QZ_IMRInternal::ImportListener_ptr listener) override {
    return walk("?", entries, listener);
  }
  ImportCounts write(QZ_IMRInternal::POAEntrySource_ptr entries, ImportMode,
                     QZ_IMRInternal::ImportListener_ptr listener) override {
    if (fail_writing) throw CORBA::PERSIST_STORE(0x515A0D04, CORBA::COMPLETED_NO);
    return walk("+", entries, listener);
  }

  void hold() {
    const std::lock_guard lock(m_mutex);
    m_held = true;
  }
  void release() {
    const std::lock_guard lock(m_mutex);
    m_held = false;
    m_changed.notify_all();
  }
  std::vector<std::string> seen() const {
    const std::lock_guard lock(m_mutex);
    return m_seen;
  }

  std::string refused = "-";        // this name is a problem
  std::string refused_later = "-";  // and this one, but only for writing
  bool fail_writing = false;
  bool endless = false;  // goes on until it is cancelled

 private:
  ImportCounts walk(const std::string& mark, QZ_IMRInternal::POAEntrySource_ptr entries,
                    QZ_IMRInternal::ImportListener_ptr listener) {
    ImportCounts counts{};
    POAEntry_var entry;
    for (entries->rewind(); entries->next(entry.out());) {
      std::string name;
      for (CORBA::ULong i = 0; i < entry->name.length(); ++i) name += (i ? "/" : "") + std::string(entry->name[i]);
      note(mark + name);
      if (name == refused || (mark == "+" && name == refused_later))
        listener->problem(("POA " + name).c_str(), "is refused");
      ++counts.added;
      while (endless && listener->entry_done()) std::this_thread::yield();
      if (!listener->entry_done()) throw CORBA::INTERNAL(0, CORBA::COMPLETED_NO);
    }
    return counts;
  }
  void note(const std::string& text) {
    std::unique_lock lock(m_mutex);
    m_seen.push_back(text);
    m_changed.wait(lock, [this] { return !m_held; });
  }

  mutable std::mutex m_mutex;
  std::condition_variable m_changed;
  std::vector<std::string> m_seen;
  bool m_held = false;
};

POAEntry poa(const std::vector<std::string>& name, const char* orb = "") {
  POAEntry result;
  result.name.length(static_cast<CORBA::ULong>(name.size()));
  for (CORBA::ULong i = 0; i < name.size(); ++i) result.name[i] = name[i].c_str();
  result.persistent = true;
  result.allow_dynamic_registration = false;
  result.orb_name = orb;
  return result;
}

template <class List, class Entry>
void append(List& list, const Entry& entry) {
  list.length(list.length() + 1);
  list[list.length() - 1] = entry;
}

ProcessInfo process_info(const std::string& name, const std::string& program) {
  ProcessSettings settings;
  settings.name = name;
  settings.argv = {program};
  return to_info(settings);
}

QZ_LocationCommon::ORBInfo orb_info(const char* name, const char* process) {
  QZ_LocationCommon::ORBInfo result;
  result.name = name;
  result.process = process;
  return result;
}

class ImportsTest : public HostFixture {
 protected:
  void SetUp() override { begin(std::chrono::minutes(10)); }
  void TearDown() override {
    m_poas->release();
    if (m_host) close_all();
  }
  void begin(Milliseconds lifetime) {
    open_and_start();
    const QZ_IMRInternal::OAIMRRegistry_var registry = host().imr().oa_imr_registry();
    registry->register_imr("fake", m_poas.get());
    m_imports.emplace(host().imr(), &host().event_log(), host().loop(), lifetime);
  }
  // As the host's administration is stopped: before the loop, and gone after it.
  void close_all() {
    m_imports->stop();
    host().stop();
    m_imports.reset();
    close();
  }

  std::shared_ptr<Import> start() { return m_imports->find(m_imports->start()); }
  static ImportProgress ended(Import& import) {
    EXPECT_TRUE(support::wait_until([&] { return import.progress().phase >= IMPORT_DONE; }));
    return import.progress();
  }
  static ImportProgress commit(Import& import, ImportMode mode = IMPORT_ADD, bool check_only = false) {
    import.commit(mode, check_only);
    return ended(import);
  }
  static std::vector<std::string> problems(const Import& import) {
    std::vector<std::string> result;
    const auto list = import.problems();
    for (CORBA::ULong i = 0; i < list.length(); ++i)
      result.push_back(std::string(list[i].entry) + ": " + list[i].reason.in());
    return result;
  }
  bool wait_until_seen(const std::string& mark) {
    return support::wait_until([&] {
      const auto seen = m_poas->seen();
      return std::find(seen.begin(), seen.end(), mark) != seen.end();
    });
  }

  RefCountHandle<FakePoaRepository> m_poas{new FakePoaRepository};
  std::optional<Imports> m_imports;
};

TEST_F(ImportsTest, WritesAllOfItsPartsInTheirOrder) {
  const auto import = start();
  RepositoryPart part;
  append(part.orbs, orb_info("teller", "bank"));
  append(part.poas, poa({"Bank", "\xC3\xA4/\xE4"}, "teller"));
  import->add(part);
  RepositoryPart other;
  append(other.processes, process_info("bank", "/bin/bank"));
  append(other.poas, poa({}));
  import->add(other);
  const auto progress = commit(*import);
  EXPECT_EQ(progress.phase, IMPORT_DONE);
  EXPECT_EQ(progress.entries, 4U);
  EXPECT_EQ(progress.entries_done, 4U);
  EXPECT_EQ(progress.added, 4U);
  EXPECT_EQ(progress.changed, 0U);
  EXPECT_EQ(progress.problems, 0U);
  EXPECT_THAT(m_poas->seen(), ElementsAre("?Bank/\xC3\xA4/\xE4", "?", "+Bank/\xC3\xA4/\xE4", "+"));
  EXPECT_EQ(host().imr().orbs().get("teller")->settings().process, "bank");
  EXPECT_THAT(events(IMPORT_DONE_EVENT), SizeIs(1));
  close_all();
  open();
  EXPECT_THAT(host().imr().processes().get("bank")->settings().argv, ElementsAre("/bin/bank"));
  EXPECT_EQ(host().imr().orbs().get("teller")->settings().process, "bank");
}

TEST_F(ImportsTest, CheckAloneWritesNothing) {
  const auto import = start();
  RepositoryPart part;
  append(part.processes, process_info("bank", "/bin/bank"));
  append(part.poas, poa({"Bank"}));
  import->add(part);
  const auto progress = commit(*import, IMPORT_ADD, true);
  EXPECT_EQ(progress.phase, IMPORT_DONE);
  EXPECT_EQ(progress.added, 2U);
  EXPECT_THAT(m_poas->seen(), ElementsAre("?Bank"));
  EXPECT_EQ(host().imr().processes().size(), 0U);
  EXPECT_THAT(events(IMPORT_DONE_EVENT), SizeIs(0));
}

TEST_F(ImportsTest, NamesEveryProblemAndWritesNothing) {
  host().imr().add_process(to_settings(process_info("old", "/bin/old")));
  host().imr().add_orb({"known", ""});
  m_poas->refused = "Bad";
  const auto import = start();
  RepositoryPart part;
  append(part.processes, process_info("good", "/bin/good"));
  append(part.processes, process_info("good", "/bin/good"));
  append(part.processes, process_info("old", "/bin/other"));
  append(part.processes, process_info("none", ""));
  append(part.orbs, orb_info("", ""));
  append(part.orbs, orb_info("lost", "nowhere"));
  append(part.orbs, orb_info("known", "good"));
  append(part.orbs, orb_info("fine", "old"));
  append(part.orbs, orb_info("fine", ""));
  append(part.poas, poa({"Bad"}));
  import->add(part);
  const auto progress = commit(*import);
  EXPECT_EQ(progress.phase, IMPORT_REFUSED);
  EXPECT_EQ(progress.problems, 8U);
  EXPECT_THAT(
      problems(*import),
      ElementsAre("process good: is there twice", "process old: exists already with other settings",
                  "process none: cannot be: its argv needs at least the program to run", "ORB : has no name",
                  "ORB lost: belongs to the process \"nowhere\", which is neither in the repository nor imported",
                  "ORB known: exists already with other settings", "ORB fine: is there twice", "POA Bad: is refused"));
  EXPECT_THAT(m_poas->seen(), ElementsAre("?Bad"));
  EXPECT_TRUE(host().imr().processes().get("good").is_null());
}

TEST_F(ImportsTest, UpdateMakesExistingEntriesAsTheyAreImported) {
  host().imr().add_process(to_settings(process_info("old", "/bin/old")));
  host().imr().add_process(to_settings(process_info("same", "/bin/same")));
  host().imr().add_orb({"known", ""});
  const auto import = start();
  RepositoryPart part;
  append(part.processes, process_info("old", "/bin/new"));
  append(part.processes, process_info("same", "/bin/same"));
  append(part.orbs, orb_info("known", "old"));
  append(part.orbs, orb_info("new", "same"));
  import->add(part);
  const auto progress = commit(*import, IMPORT_UPDATE);
  EXPECT_EQ(progress.phase, IMPORT_DONE);
  EXPECT_EQ(progress.added, 1U);
  EXPECT_EQ(progress.changed, 2U);
  EXPECT_THAT(host().imr().processes().get("old")->settings().argv, ElementsAre("/bin/new"));
  EXPECT_EQ(host().imr().orbs().get("known")->settings().process, "old");
}

TEST_F(ImportsTest, OnlyTheFirstProblemsAreListed) {
  const auto import = start();
  RepositoryPart part;
  for (int i = 0; i < 250; ++i) append(part.orbs, orb_info("", ""));
  import->add(part);
  const auto progress = commit(*import);
  EXPECT_EQ(progress.problems, 250U);
  EXPECT_THAT(problems(*import), SizeIs(100));
}

TEST_F(ImportsTest, ProblemThatComesUpWhileWritingUndoesAll) {
  m_poas->refused_later = "Late";
  const auto import = start();
  RepositoryPart part;
  append(part.processes, process_info("bank", "/bin/bank"));
  append(part.poas, poa({"Late"}));
  import->add(part);
  EXPECT_EQ(commit(*import).phase, IMPORT_REFUSED);
  EXPECT_THAT(problems(*import), ElementsAre("POA Late: is refused"));
  EXPECT_EQ(host().imr().processes().size(), 0U);
  close_all();
  open();
  EXPECT_EQ(host().imr().processes().size(), 0U);
}

TEST_F(ImportsTest, FailureOfTheStoreUndoesAll) {
  m_poas->fail_writing = true;
  const auto import = start();
  RepositoryPart part;
  append(part.processes, process_info("bank", "/bin/bank"));
  import->add(part);
  const auto progress = commit(*import);
  EXPECT_EQ(progress.phase, IMPORT_FAILED);
  EXPECT_THAT(progress.failure.in(), HasSubstr("the store failed"));
  EXPECT_TRUE(wait_for(IMPORT_FAILED_EVENT));
  close_all();
  open();
  EXPECT_EQ(host().imr().processes().size(), 0U);
}

TEST_F(ImportsTest, TakesNothingOnceItIsCommitted) {
  const auto import = start();
  commit(*import);
  try {
    import->add(RepositoryPart());
    FAIL() << "a part was added behind the end";
  } catch (const WrongPhase& e) {
    EXPECT_EQ(e.phase, IMPORT_DONE);
  }
  EXPECT_THROW(import->commit(IMPORT_ADD, false), WrongPhase);
}

TEST_F(ImportsTest, CancelledWhileItChecksItWritesNothing) {
  m_poas->endless = true;
  const std::string id = m_imports->start();
  const auto import = m_imports->find(id);
  RepositoryPart part;
  append(part.processes, process_info("bank", "/bin/bank"));
  append(part.poas, poa({"Bank"}));
  import->add(part);
  import->commit(IMPORT_ADD, false);
  ASSERT_TRUE(wait_until_seen("?Bank"));
  EXPECT_EQ(import->progress().phase, IMPORT_CHECKING);
  m_imports->destroy(id);
  EXPECT_EQ(import->progress().phase, IMPORT_FAILED);
  EXPECT_STREQ(import->progress().failure, "it was cancelled");
  EXPECT_EQ(host().imr().processes().size(), 0U);
  EXPECT_THROW(m_imports->find(id), CORBA::OBJECT_NOT_EXIST);
}

TEST_F(ImportsTest, CancelledWhileItCollectsItIsOver) {
  const std::string id = m_imports->start();
  const auto import = m_imports->find(id);
  import->add(RepositoryPart());
  m_imports->destroy(id);
  EXPECT_EQ(import->progress().phase, IMPORT_FAILED);
  EXPECT_STREQ(import->progress().failure, "it was cancelled");
  EXPECT_THROW(import->commit(IMPORT_ADD, false), WrongPhase);
  EXPECT_THROW(m_imports->find(id), CORBA::OBJECT_NOT_EXIST);
  EXPECT_THROW(m_imports->destroy(id), CORBA::OBJECT_NOT_EXIST);
}

TEST_F(ImportsTest, StopEndsThemAndLetsNoneBegin) {
  m_poas->endless = true;
  const auto working = start();
  const auto collecting = start();
  RepositoryPart part;
  append(part.poas, poa({"Bank"}));
  working->add(part);
  working->commit(IMPORT_ADD, false);
  ASSERT_TRUE(wait_until_seen("?Bank"));
  m_imports->stop();
  EXPECT_EQ(working->progress().phase, IMPORT_FAILED);
  EXPECT_EQ(collecting->progress().phase, IMPORT_FAILED);
  EXPECT_THROW(m_imports->start(), CORBA::IMP_LIMIT);
}

TEST_F(ImportsTest, ThereAreNotTooManyAtATime) {
  std::string last;
  for (std::size_t i = 0; i < Imports::MAX_IMPORTS; ++i) last = m_imports->start();
  EXPECT_THROW(m_imports->start(), CORBA::IMP_LIMIT);
  m_imports->destroy(last);
  EXPECT_NE(m_imports->start(), last);
}

TEST_F(ImportsTest, RefusesMoreProcessesAndOrbsThanItKeeps) {
  const auto import = start();
  RepositoryPart part;
  part.orbs.length(ImportEntries::MAX_HOST_ENTRIES);
  import->add(part);
  RepositoryPart more;
  append(more.processes, process_info("bank", "/bin/bank"));
  EXPECT_THROW(import->add(more), CORBA::IMP_LIMIT);
}

class UnusedImportsTest : public ImportsTest {
 protected:
  void SetUp() override { begin(std::chrono::seconds(1)); }
};

TEST_F(UnusedImportsTest, AreForgotten) {
  for (std::size_t i = 0; i < Imports::MAX_IMPORTS; ++i) m_imports->start();
  std::string id;
  ASSERT_TRUE(support::wait_until([&] {
    try {
      id = m_imports->start();
      return true;
    } catch (const CORBA::IMP_LIMIT&) {
      return false;
    }
  }));
}

TEST_F(UnusedImportsTest, AreKeptWhileTheyWork) {
  m_poas->hold();
  const std::string id = m_imports->start();
  {
    const auto import = m_imports->find(id);
    RepositoryPart part;
    append(part.poas, poa({"Bank"}));
    import->add(part);
    import->commit(IMPORT_ADD, false);
  }
  ASSERT_TRUE(wait_until_seen("?Bank"));
  // One that began later and does not work is forgotten before it.
  std::string later = m_imports->start();
  const auto other = std::weak_ptr<Import>(m_imports->find(later));
  ASSERT_TRUE(support::wait_until([&] { return other.expired(); }));
  m_imports->find(id);
  m_poas->release();
  ASSERT_TRUE(wait_until_seen("+Bank"));
}

}  // namespace
