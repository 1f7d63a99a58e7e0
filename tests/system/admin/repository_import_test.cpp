// Imports into the repository over the wire.
#include <algorithm>

#include "tests/support/proc_info.h"
#include "tests/system/admin/admin_test.h"

namespace {

using namespace QZ_IMRAdmin;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class RepositoryImportTest : public AdminTest {
 protected:
  static ImportProgress_var ended(RepositoryImport_ptr import) {
    EXPECT_TRUE(support::wait_until([&] { return ImportProgress_var(import->progress())->phase >= IMPORT_DONE; },
                                    std::chrono::minutes(2)));
    return import->progress();
  }
  static ImportProgress_var commit(RepositoryImport_ptr import, ImportMode mode = IMPORT_ADD, bool check_only = false) {
    import->commit(mode, check_only);
    return ended(import);
  }
  static Words problems(RepositoryImport_ptr import) {
    ImportProblemList_var list = import->problems();
    Words result;
    for (CORBA::ULong i = 0; i < list->length(); ++i)
      result.push_back(std::string(list[i].entry.in()) + " " + list[i].reason.in());
    return result;
  }
  // Parts of an import of that many POAs, in folders of a hundred, together with a process and an ORB.
  static void add_many(RepositoryImport_ptr import, unsigned number, const char* orb = "many") {
    RepositoryPart part;
    append(part.processes, process_info("many"));
    append(part.orbs, orb_info("many", "many"));
    for (unsigned i = 0; i < number; ++i) {
      const std::string folder = "F" + std::to_string(i / 100);
      append(part.poas, poa_entry(i % 100 == 0 ? folder : folder + "/P" + std::to_string(i), orb));
      if (part.poas.length() < 1000) continue;
      import->add(part);
      part = RepositoryPart();
    }
    import->add(part);
  }
};

TEST_F(RepositoryImportTest, WritesProcessesORBsAndPOAsAndTheyLast) {
  const RepositoryImport_var import = repository()->start_import();
  EXPECT_EQ(ImportProgress_var(import->progress())->phase, IMPORT_COLLECTING);
  RepositoryPart part;
  append(part.processes, process_info("bank"));
  append(part.orbs, orb_info("teller", "bank"));
  import->add(part);
  RepositoryPart other;
  append(other.poas, poa_entry("Bank", "teller"));
  append(other.poas, poa_entry("Bank/Accounts", "teller"));
  import->add(other);
  const auto progress = commit(import);
  EXPECT_EQ(progress->phase, IMPORT_DONE);
  EXPECT_EQ(progress->entries, 4U);
  EXPECT_EQ(progress->entries_done, 4U);
  EXPECT_EQ(progress->added, 4U);
  EXPECT_EQ(progress->changed, 0U);
  m_locator.kill9();
  m_locator.start();
  EXPECT_THAT(process_names(), ElementsAre("bank"));
  EXPECT_EQ(process_of("teller"), "bank");
  EXPECT_THAT(poa_entries(), ElementsAre("Bank teller", "Bank/Accounts teller"));
  // The daemon that kept it has gone.
  EXPECT_THROW(ImportProgress_var(import->progress()), CORBA::OBJECT_NOT_EXIST);
}

TEST_F(RepositoryImportTest, ListsEveryEntryAndTheRoot) {
  add_poa("Bank/Accounts", "teller");
  CORBA::String_var next;
  POAEntryList_var page = repository()->list_poas("", 2, next.out());
  ASSERT_EQ(page->length(), 2U);
  EXPECT_EQ(page[0].name.length(), 0U);
  EXPECT_FALSE(page[0].persistent);
  EXPECT_STREQ(page[1].name[0], "Bank");
  EXPECT_TRUE(page[1].persistent);
  EXPECT_STREQ(page[1].orb_name, "teller");
  // What the page ended with goes; what comes is listed behind.
  QZ_POAIMRAdmin::POA_var(poas()->find(full_name("Bank/Accounts")))->destroy();
  add_poa("Z");
  const CORBA::String_var position = next._retn();
  page = repository()->list_poas(position, 10, next.out());
  ASSERT_EQ(page->length(), 1U);
  EXPECT_STREQ(page[0].name[0], "Z");
  EXPECT_STREQ(next, "");
  EXPECT_THROW(POAEntryList_var(repository()->list_poas("no position", 10, next.out())), CORBA::BAD_PARAM);
}

TEST_F(RepositoryImportTest, RefusedImportWritesNothing) {
  add_process("old");
  add_poa("Old", "teller");
  for (const bool check_only : {true, false}) {
    const RepositoryImport_var import = repository()->start_import();
    RepositoryPart part;
    append(part.processes, process_info("good"));
    append(part.processes, process_info("old", {"/bin/false"}));
    append(part.processes, process_info("bad", {}));
    append(part.orbs, orb_info("good", "good"));
    append(part.orbs, orb_info("lost", "nowhere"));
    append(part.poas, poa_entry("Good"));
    append(part.poas, poa_entry("Old", "other"));
    append(part.poas, poa_entry("No/Parent"));
    import->add(part);
    const auto progress = commit(import, IMPORT_ADD, check_only);
    EXPECT_EQ(progress->phase, IMPORT_REFUSED);
    EXPECT_EQ(progress->problems, 5U);
    EXPECT_THAT(
        problems(import),
        ElementsAre("process old exists already with other settings",
                    "process bad cannot be: its argv needs at least the program to run",
                    "ORB lost belongs to the process \"nowhere\", which is neither in the repository nor imported",
                    "POA Old exists already with other settings",
                    "POA No/Parent has no parent: the POA above it is neither in the repository nor before it"));
    import->destroy();
  }
  EXPECT_THAT(process_names(), ElementsAre("old"));
  EXPECT_THAT(orb_names(), IsEmpty());
  EXPECT_THAT(poa_entries(), ElementsAre("Old teller"));
}

TEST_F(RepositoryImportTest, CheckSaysWhatWouldBeDoneAndWritesNothing) {
  add_poa("Old", "teller");
  const RepositoryImport_var import = repository()->start_import();
  RepositoryPart part;
  append(part.processes, process_info("bank"));
  append(part.poas, poa_entry("Old", "other"));
  append(part.poas, poa_entry("Old/New"));
  import->add(part);
  const auto progress = commit(import, IMPORT_UPDATE, true);
  EXPECT_EQ(progress->phase, IMPORT_DONE);
  EXPECT_EQ(progress->added, 2U);
  EXPECT_EQ(progress->changed, 1U);
  EXPECT_THAT(process_names(), IsEmpty());
  EXPECT_THAT(poa_entries(), ElementsAre("Old teller"));
}

TEST_F(RepositoryImportTest, UpdateChangesWhatIsThere) {
  add_process("bank");
  add_orb("teller");
  add_poa("Bank", "teller");
  const RepositoryImport_var import = repository()->start_import();
  RepositoryPart part;
  append(part.processes, process_info("bank", {"/bin/new"}));
  append(part.orbs, orb_info("teller", "bank"));
  append(part.poas, poa_entry("Bank", "other"));
  import->add(part);
  const auto progress = commit(import, IMPORT_UPDATE);
  EXPECT_EQ(progress->phase, IMPORT_DONE);
  EXPECT_EQ(progress->changed, 3U);
  EXPECT_STREQ(ProcessInfo_var(Process_var(processes()->find("bank"))->info())->argv[0], "/bin/new");
  EXPECT_EQ(process_of("teller"), "bank");
  EXPECT_THAT(poa_entries(), ElementsAre("Bank other"));
}

TEST_F(RepositoryImportTest, CommittedImportTakesNoMore) {
  const RepositoryImport_var import = repository()->start_import();
  commit(import);
  try {
    import->add(RepositoryPart());
    FAIL() << "a part was added behind the end";
  } catch (const WrongPhase& e) {
    EXPECT_EQ(e.phase, IMPORT_DONE);
  }
  EXPECT_THROW(import->commit(IMPORT_ADD, false), WrongPhase);
  import->destroy();
  EXPECT_THROW(import->destroy(), CORBA::OBJECT_NOT_EXIST);
  EXPECT_THROW(import->add(RepositoryPart()), CORBA::OBJECT_NOT_EXIST);
}

TEST_F(RepositoryImportTest, ThereAreNotTooManyAtATime) {
  const auto all = repository();
  std::vector<RepositoryImport_var> imports;
  const auto start_until_refused = [&] {
    try {
      for (;;) imports.emplace_back(all->start_import());
    } catch (const CORBA::IMP_LIMIT&) {
    }
    return imports.size();
  };
  const std::size_t most = start_until_refused();
  EXPECT_GE(most, 2U);
  imports.back()->destroy();
  imports.pop_back();
  EXPECT_EQ(start_until_refused(), most);
}

TEST_F(RepositoryImportTest, DestroyedImportWritesNothingLater) {
  const RepositoryImport_var import = repository()->start_import();
  add_many(import, 20'000);
  import->commit(IMPORT_ADD, false);
  import->destroy();
  const Words then = poa_entries();
  if (!then.empty()) EXPECT_THAT(then, SizeIs(20'000));
  const RepositoryImport_var next = repository()->start_import();
  RepositoryPart part;
  append(part.poas, poa_entry("Next"));
  next->add(part);
  EXPECT_EQ(commit(next)->phase, IMPORT_DONE);
  EXPECT_THAT(poa_entries(), SizeIs(then.size() + 1));
}

TEST_F(RepositoryImportTest, DaemonEndsWellInTheMiddleOfOne) {
  const RepositoryImport_var import = repository()->start_import();
  add_many(import, 20'000);
  import->commit(IMPORT_ADD, false);
  restart();
  const std::size_t written = poa_entries().size();
  EXPECT_TRUE(written == 0 || written == 20'000) << written;
  EXPECT_EQ(process_names().size(), written == 0 ? 0U : 1U);
}

TEST_F(RepositoryImportTest, KilledDaemonHasWrittenAllOrNothing) {
  bool killed_while_writing = false;
  for (int i = 1; i <= 3; ++i) {
    const RepositoryImport_var import = repository()->start_import();
    add_many(import, 20'000);
    import->commit(IMPORT_ADD, false);
    // Dies when so much is written.
    ImportProgress_var progress;
    ASSERT_TRUE(support::wait_until([&] {
      progress = import->progress();
      return progress->phase >= IMPORT_DONE ||
             (progress->phase == IMPORT_WRITING && progress->entries_done >= static_cast<unsigned>(i) * 5'000);
    }));
    m_locator.kill9();
    killed_while_writing |= progress->phase == IMPORT_WRITING;
    m_locator.start();
    const std::size_t written = poa_entries().size();
    EXPECT_TRUE(written == 0 || written == 20'000) << written;
    EXPECT_EQ(process_names().size(), written == 0 ? 0U : 1U);
    EXPECT_EQ(process_of("many"), written == 0 ? "(none)" : "many");
    if (written != 0) break;
  }
  EXPECT_TRUE(killed_while_writing);
}

TEST_F(RepositoryImportTest, ServersAreServedWhileOneIsChecked) {
  const RepositoryImport_var import = repository()->start_import();
  add_many(import, 20'000);
  import->commit(IMPORT_ADD, true);
  add_poa("Bank");
  EXPECT_EQ(ended(import)->phase, IMPORT_DONE);
  EXPECT_THAT(poa_entries(), ElementsAre("Bank "));
}

TEST_F(RepositoryImportTest, MemoryDoesNotGrowWithEachOne) {
  m_locator.terminate();
  m_locator.count_freed_memory_as_free();
  m_locator.start();
  bool odd = false;
  // Each one changes every entry.
  const auto import_once = [&] {
    odd = !odd;
    const RepositoryImport_var import = repository()->start_import();
    add_many(import, 20'000, odd ? "odd" : "even");
    const auto progress = commit(import, IMPORT_UPDATE);
    EXPECT_EQ(progress->phase, IMPORT_DONE);
    EXPECT_GE(progress->added + progress->changed, 20'000U);
    import->destroy();
  };
  for (int i = 0; i < 2; ++i) import_once();
  const std::size_t before = support::resident_kib(m_locator.pid());
  for (int i = 0; i < 6; ++i) import_once();
  const std::size_t after = support::resident_kib(m_locator.pid());
  std::cout << "resident KiB before " << before << ", after six more imports " << after << std::endl;
  EXPECT_LE(after, before + 8 * 1024);
  EXPECT_THAT(poa_entries(), SizeIs(20'000));
}

}  // namespace
