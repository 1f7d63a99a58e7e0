// poaloc export, import: the whole repository.
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>
#include <poa_imr_admin.hh>

#include <filesystem>

#include "tests/support/corba_side.h"
#include "tests/system/cli/cli_test.h"

namespace {

using ::testing::HasSubstr;

class RepositoryTest : public CliTest {
 protected:
  void fill() {
    does({"process", "add", "bank", "--directory", "/tmp", "--env", "A=1", "--startup-limit", "30s", "--stop-grace",
          "1500ms", "--log", "/tmp/bank.log", "--", "/bin/echo", "it's \"quoted\""});
    does({"process", "add", "plain", "--", "/bin/true"});
    does({"orb", "add", "bank", "--process", "bank"});
    does({"orb", "add", "Größe"});
    does({"poa", "set", "/", "--dynamic", "no"});
    does({"poa", "add", "Z/B/A", "--parents", "--orb", "bank", "--dynamic"});
    does({"poa", "add", "Z/A", "--orb", "Größe"});
    does({"poa", "add", "with\\/slash"});
  }
  std::string saved(const std::string& text) {
    const std::string file = m_dir.file("repository.json");
    support::write_file(file, text);
    return file;
  }
  static Json sorted(const std::string& repository) {
    Json document = Json::parse(repository);
    std::sort(document["poas"].begin(), document["poas"].end());
    return document;
  }
  static std::string document(const Json& poas) { return Json({{"poalocator", 1}, {"poas", poas}}).dump(); }
};

TEST_F(RepositoryTest, ExportIsOneDocumentOfAllThereIs) {
  fill();
  const Json document = Json::parse(repository());
  EXPECT_EQ(document["poalocator"], 1);
  EXPECT_EQ(document["processes"].at(0), Json({{"name", "bank"},
                                               {"command", {"/bin/echo", "it's \"quoted\""}},
                                               {"directory", "/tmp"},
                                               {"environment", {"A=1"}},
                                               {"user", nullptr},
                                               {"startup_limit", "30s"},
                                               {"stop_grace", "1500ms"},
                                               {"log", "/tmp/bank.log"}}));
  EXPECT_EQ(document["orbs"].size(), 2U);
  EXPECT_EQ(document["poas"].at(0), Json({{"name", "/"}, {"persistent", false}, {"dynamic", false}, {"orb", nullptr}}));
  EXPECT_EQ(document["poas"].size(), 6U);
}

TEST_F(RepositoryTest, ImportIntoAnEmptyStoreGivesTheSameBack) {
  fill();
  const std::string file = m_dir.file("repository.json");
  EXPECT_EQ(table({"export", file}), "10 entries written to " + file + ".\n");
  EXPECT_EQ(line({"export", file}), Json({{"entries", 10}, {"file", file}}));
  const std::string before = repository();
  EXPECT_EQ(support::read_file(file), before);

  m_locator.terminate();
  m_locator.config().set_text("store", "url", "sqlite://" + m_dir.file("empty.db"));
  m_locator.start();
  EXPECT_EQ(lines({"poa", "list"}).size(), 0U);
  EXPECT_EQ(line({"import", file, "--check"}),
            Json({{"entries", 10}, {"added", 9}, {"changed", 1}, {"written", false}}));
  EXPECT_EQ(lines({"poa", "list"}).size(), 0U);
  EXPECT_EQ(table({"import", file}), "10 entries imported: 9 added, 1 changed.\n");
  // POAs side by side come in the order in which they were made.
  const std::string imported = repository();
  EXPECT_EQ(sorted(imported), sorted(before));
  EXPECT_EQ(line({"import", file}), Json({{"entries", 10}, {"added", 0}, {"changed", 0}, {"written", true}}));
  m_locator.kill9();
  m_locator.start();
  EXPECT_EQ(repository(), imported);
}

TEST_F(RepositoryTest, ImportReadsStandardInput) {
  const Outcome outcome = run({"import", "-"}, document({{{"name", "A"}, {"persistent", true}}}));
  EXPECT_EQ(outcome.code, SUCCESS) << outcome.err;
  EXPECT_EQ(line({"poa", "show", "A"})["persistent"], true);
}

TEST_F(RepositoryTest, ImportChangesWhatExistsOnlyWhenAsked) {
  fill();
  const std::string before = repository();
  const std::string file = saved(
      document({{{"name", "Z/A"}, {"persistent", true}, {"orb", "bank"}}, {{"name", "New"}, {"persistent", true}}}));
  const Outcome refused = run({"import", file});
  EXPECT_EQ(refused.code, REFUSED);
  EXPECT_EQ(refused.out, "");
  const Words said = split_lines(refused.err);
  ASSERT_EQ(said.size(), 2U) << refused.err;
  EXPECT_THAT(said[0], ::testing::StartsWith("poaloc: POA Z/A "));
  EXPECT_EQ(said[1],
            "poaloc: Nothing was imported, because of 1 entry that cannot be: correct the file, or give --update to "
            "change entries that exist.");
  EXPECT_EQ(repository(), before);
  EXPECT_EQ(table({"import", file, "--update"}), "2 entries imported: 1 added, 1 changed.\n");
  EXPECT_EQ(line({"poa", "show", "Z/A"})["orb"], "bank");
}

TEST_F(RepositoryTest, RefusedImportWritesNothing) {
  fill();
  const std::string before = repository();
  const Json good = {{"name", "Good"}, {"persistent", true}};
  for (const Json& bad :
       std::vector<Json>{{{"poas", {good, {{"name", "No/Parent"}, {"persistent", true}}}}},
                         {{"poas", {good, {{"name", "Z"}, {"persistent", true}}}}},
                         {{"poas", {good}}, {"orbs", {{{"name", "lost"}, {"process", "nowhere"}}}}},
                         {{"poas", {good}}, {"processes", {{{"name", "bank"}, {"command", {"/bin/false"}}}}}}}) {
    Json all = bad;
    all["poalocator"] = 1;
    for (const Words& options : {Words{}, Words{"--check"}}) {
      Words arguments{"import", saved(all.dump())};
      arguments.insert(arguments.end(), options.begin(), options.end());
      const Outcome outcome = run(arguments);
      EXPECT_EQ(outcome.code, REFUSED) << all;
      EXPECT_EQ(outcome.out, "");
      EXPECT_THAT(outcome.err, HasSubstr("poaloc: Nothing was imported, because of 1 entry")) << all;
    }
  }
  EXPECT_EQ(repository(), before);
}

TEST_F(RepositoryTest, FilesThatCannotBeUsed) {
  EXPECT_TRUE(fails({"import", m_dir.file("none.json")}, FAILED, "cannot be read, No such file or directory: name"));
  EXPECT_TRUE(fails({"import", m_dir.path()}, FAILED, "cannot be read, Is a directory: name another one"));
  EXPECT_TRUE(fails({"import"}, USAGE, "poaloc import --help"));
  EXPECT_TRUE(fails({"export", m_dir.file("none/x.json")}, FAILED, "cannot be written, No such file or directory"));
  EXPECT_TRUE(fails({"export", m_dir.path()}, FAILED, "cannot be written, Is a directory"));
}

TEST_F(RepositoryTest, FailedExportLeavesTheOldFile) {
  const std::string file = saved("precious");
  m_locator.terminate();
  EXPECT_TRUE(fails({"export", file}, UNREACHABLE, "start poalocd"));
  EXPECT_EQ(support::read_file(file), "precious");
  EXPECT_TRUE(fails({"export", "/dev/full/x"}, FAILED, "cannot be written, Not a directory"));
}

TEST_F(RepositoryTest, ExportNamesWhatJsonCannotHold) {
  does({"poa", "add", "Latin\xe9"});
  EXPECT_TRUE(fails({"export", m_dir.file("x.json")}, FAILED, "\"name\":\"Latin"));
}

// Interrupted at any moment, an import is there as a whole or not at all.
TEST_F(RepositoryTest, InterruptedImportLeavesAllOrNothing) {
  Json poas = Json::array();
  for (int i = 0; i < 4000; ++i) poas.push_back({{"name", "N" + std::to_string(i)}, {"persistent", true}});
  const std::string file = saved(document(poas));
  int cancelled = 0;
  for (int delay = 0; delay <= 600; delay += 120) {
    const auto spec = command({"import", file});
    support::ChildProcess importer(spec);
    // No synchronisation: any moment will do.
    support::wait_until([&] { return !importer.running(); }, std::chrono::milliseconds(delay));
    importer.signal(SIGINT);
    const auto code = importer.wait();
    ASSERT_TRUE(code);
    const std::size_t count = lines({"poa", "list"}).size();
    EXPECT_TRUE(count == 0 || count == 4000) << count << " after " << delay << " ms";
    if (code == FAILED) {
      ++cancelled;
      EXPECT_THAT(support::read_file(spec.stderr_path), HasSubstr("poaloc: The import was cancelled"));
    } else {
      // A signal before the beginning or after the end is like any other program's.
      EXPECT_TRUE((code == SUCCESS && count == 4000) || code == -SIGINT) << *code;
    }
    if (count == 4000) break;
  }
  EXPECT_EQ(run({"import", file}).code, SUCCESS);
  EXPECT_EQ(lines({"poa", "list"}).size(), 4000U);
  RecordProperty("cancelled", cancelled);
}

// Over CORBA namespaces may be given an ORB, the root too.
TEST_F(RepositoryTest, WhateverIsExportedCanBeImported) {
  does({"orb", "add", "bank"});
  does({"poa", "add", "Folder", "--namespace"});
  does({"poa", "add", "Folder/A", "--orb", "bank"});
  const auto poas = support::resolve<QZ_POAIMRAdmin::POARegistry>(m_locator, QZ_POAIMRAdmin::POA_REGISTRY);
  const QZ_POAIMRAdmin::POA_var root = poas->root_namespace();
  root->orb_name("bank");
  QZ_POAIMRAdmin::FullyQualifiedName name;
  name.length(1);
  name[0] = "Folder";
  const QZ_POAIMRAdmin::POA_var folder = poas->find(name);
  folder->orb_name("bank");

  const std::string before = repository();
  EXPECT_THAT(before, HasSubstr(R"({"name":"Folder","persistent":false,"dynamic":false,"orb":"bank"})"));
  const std::string file = saved(before);
  EXPECT_EQ(line({"import", file})["changed"], 0);
  m_locator.terminate();
  m_locator.config().set_text("store", "url", "sqlite://" + m_dir.file("empty.db"));
  m_locator.start();
  EXPECT_EQ(line({"import", file, "--check"})["written"], false);
  does({"import", file});
  EXPECT_EQ(repository(), before);
}

TEST_F(RepositoryTest, ExportReplacesNothingButFiles) {
  fill();
  const std::string all = repository();
  const std::string pipe = m_dir.file("pipe");
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  support::ChildProcess::Spec reader;
  reader.argv = {"/bin/cat", pipe};
  reader.stdout_path = m_dir.file("read");
  support::ChildProcess cat(reader);
  does({"export", pipe});
  EXPECT_EQ(cat.wait(), 0);
  EXPECT_EQ(support::read_file(reader.stdout_path), all);
  struct stat status{};
  EXPECT_EQ(lstat(pipe.c_str(), &status), 0);
  EXPECT_TRUE(S_ISFIFO(status.st_mode));
}

TEST_F(RepositoryTest, ExportThatGetsTooLargeLeavesTheOldFile) {
  Json poas = Json::array();
  for (int i = 0; i < 100; ++i) poas.push_back({{"name", "N" + std::to_string(i)}, {"persistent", true}});
  does({"import", saved(document(poas))});
  const std::string file = saved("precious");
  auto spec = command({"export", file});
  spec.argv.insert(spec.argv.begin(), {"/bin/sh", "-c", "ulimit -f 1; exec \"$@\"", "sh"});
  support::ChildProcess exporter(spec);
  EXPECT_EQ(exporter.wait(), FAILED);
  EXPECT_THAT(support::read_file(spec.stderr_path), HasSubstr("cannot be written, File too large: name another one."));
  EXPECT_EQ(support::read_file(file), "precious");
}

TEST_F(RepositoryTest, ExportFollowsLinksAndKeepsTheMode) {
  fill();
  const std::string file = saved("old");
  ASSERT_EQ(chmod(file.c_str(), 0640), 0);
  const std::string link = m_dir.file("link");
  ASSERT_EQ(symlink("repository.json", link.c_str()), 0);
  const std::string dangling = m_dir.file("dangling");
  ASSERT_EQ(symlink("new.json", dangling.c_str()), 0);
  does({"export", link});
  does({"export", dangling});
  struct stat status{};
  for (const std::string& name : {link, dangling}) {
    EXPECT_EQ(lstat(name.c_str(), &status), 0);
    EXPECT_TRUE(S_ISLNK(status.st_mode)) << name;
    EXPECT_EQ(support::read_file(name), repository()) << name;
  }
  EXPECT_EQ(stat(file.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0640U);
}

// Whatever ends it, the old file stays and no other one is left beside it.
TEST_F(RepositoryTest, ExportThatIsEndedLeavesNothingBehind) {
  const std::string folder = m_dir.file("backups");
  std::filesystem::create_directory(folder);
  const std::string file = folder + "/repository.json";
  support::write_file(file, "precious");
  const auto files = [&] {
    const std::filesystem::directory_iterator all(folder);
    return std::distance(begin(all), end(all));
  };
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    // The locator is stopped as soon as the export is under way.
    m_locator.stop();
    const auto spec = command({"export", file});
    support::ChildProcess exporter(spec);
    ASSERT_TRUE(support::wait_until([&] { return files() == 2; }));
    exporter.signal(signal);
    m_locator.resume();
    EXPECT_EQ(exporter.wait(), FAILED);
    EXPECT_THAT(support::read_file(spec.stderr_path), HasSubstr("poaloc: The export was cancelled, and no file"));
    EXPECT_EQ(files(), 1);
    EXPECT_EQ(support::read_file(file), "precious");
  }
}

}  // namespace
