#include <gmock/gmock.h>
#include <signal.h>
#include <sys/stat.h>

#include <chrono>
#include <nlohmann/json.hpp>
#include <thread>

#include "daemon/event_format.h"
#include "daemon/event_log_impl.h"
#include "daemon/gathered_events.h"
#include "daemon/host_event.h"
#include "platform/base/ref_count_handle.h"
#include "tests/support/files.h"
#include "tests/support/test_dir.h"
#include "tests/support/wait.h"

namespace {

using namespace poalocd;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using Log = RefCountHandle<EventLogImpl>;

Event event(const std::string& text, const std::vector<std::string>& parameters = {}) {
  // 2026-11-20T18:28:48.169857Z
  const std::chrono::system_clock::time_point time(std::chrono::microseconds(1795199328169857LL));
  return {time, "QZ_TEST", 7, QZ_Logging::WARNING, message_of(text, parameters), parameters};
}

CORBA::AnySeq parameters(const std::vector<const char*>& texts) {
  CORBA::AnySeq result;
  result.length(static_cast<CORBA::ULong>(texts.size()));
  for (CORBA::ULong i = 0; i < result.length(); ++i) result[i] <<= texts[i];
  return result;
}

TEST(EventFormat, ReplacesPlaceholdersByTheirParameters) {
  EXPECT_EQ(substitute("%0 and %1, %0", {"a", "b"}), "a and b, a");
  EXPECT_EQ(substitute("no placeholder", {}), "no placeholder");
  EXPECT_EQ(substitute("%10", {"0", "1", "2", "3", "4", "5", "6", "7", "8", "9", "ten"}), "ten");
}

TEST(EventFormat, LeavesPlaceholdersWithoutAParameter) {
  EXPECT_EQ(substitute("%0 %1", {"a"}), "a %1");
  EXPECT_EQ(substitute("100 % of %, %%0", {"x"}), "100 % of %, %x");
  EXPECT_EQ(substitute("%99999999999999999999999", {"a"}), "%99999999999999999999999");
}

TEST(EventFormat, DoesNotReplaceWithinParameters) {
  EXPECT_EQ(substitute("%0%1", {"%1", "%0"}), "%1%0");
}

TEST(EventFormat, MakesOneLineOfText) {
  EXPECT_EQ(text_line(event("POA ID: %0\nPOA Name: %1\n", {"1", "a\nb"})),
            "2026-11-20T18:28:48.169857Z warning QZ_TEST 7 POA ID: 1\\nPOA Name: a\\nb");
  EXPECT_THAT(text_line(event("%0", {"\x1b[2J\r\\"})), HasSubstr("\\x1b[2J\\x0d\\\\"));
}

TEST(EventFormat, MakesOneJsonObjectALine) {
  const auto line = json_line(event("Name: %0\nORB: %1\n", {"a \"b\"", "c\n"}));
  EXPECT_EQ(line.find('\n'), std::string::npos);
  const auto json = nlohmann::json::parse(line);
  EXPECT_EQ(json.at("time"), "2026-11-20T18:28:48.169857Z");
  EXPECT_EQ(json.at("subsystem"), "QZ_TEST");
  EXPECT_EQ(json.at("id"), 7);
  EXPECT_EQ(json.at("priority"), 16);
  EXPECT_EQ(json.at("message"), "Name: a \"b\"\nORB: c");
  EXPECT_THAT(json.at("parameters").get<std::vector<std::string>>(), ElementsAre("a \"b\"", "c\n"));
}

TEST(EventFormat, MakesJsonOfOctetsThatAreNoUtf8) {
  const auto json = nlohmann::json::parse(json_line(event("%0", {"a\xff\xfe"})));
  EXPECT_THAT(json.at("message").get<std::string>(), HasSubstr("a\xEF\xBF\xBD"));
}

class EventLogTest : public testing::Test {
 protected:
  // Longer than any test takes.
  static constexpr std::chrono::hours NEVER{1};

  static void say(EventLogImpl& log, QZ_Logging::EventPriority priority, const char* text) {
    log.log_event("QZ_TEST", 1, priority, text, CORBA::AnySeq());
  }
  Log make(bool json = false, unsigned long min_priority = QZ_Logging::INFORMATION) {
    return Log(new EventLogImpl({m_file, json, min_priority}));
  }

  const support::TestDir m_dir;
  const std::string m_file = m_dir.file("events.log");
};

TEST_F(EventLogTest, WritesEachEventBeforeReturning) {
  const auto log = make();
  log->log_event("QZ_TEST", 3, QZ_Logging::ERROR_PRIORITY, "broken: %0", parameters({"disk"}));
  const auto lines = support::read_lines(m_file);
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_THAT(lines[0], testing::EndsWith(" error QZ_TEST 3 broken: disk"));
  EXPECT_EQ(log->failures(), 0u);
}

TEST_F(EventLogTest, DoesNotTakeBracesForItsOwn) {
  const auto log = make();
  log->log_event("QZ_TEST", 3, QZ_Logging::INFORMATION, "{} {0} %v {:", CORBA::AnySeq());
  EXPECT_THAT(support::read_file(m_file), HasSubstr("{} {0} %v {:"));
}

TEST_F(EventLogTest, DropsEventsBelowItsPriority) {
  const auto log = make(false, QZ_Logging::WARNING);
  log->log_event("QZ_TEST", 1, QZ_Logging::INFORMATION, "low", CORBA::AnySeq());
  log->log_event("QZ_TEST", 2, QZ_Logging::WARNING, "high", CORBA::AnySeq());
  const auto text = support::read_file(m_file);
  EXPECT_THAT(text, HasSubstr("high"));
  EXPECT_THAT(text, testing::Not(HasSubstr("low")));
}

TEST_F(EventLogTest, ShowsParametersThatAreNoStrings) {
  const auto log = make();
  CORBA::AnySeq values;
  values.length(2);
  values[0] <<= CORBA::Long(5);
  values[1] <<= "text";
  log->log_event("QZ_TEST", 1, QZ_Logging::INFORMATION, "%0 %1", values);
  EXPECT_THAT(support::read_file(m_file), HasSubstr("? text"));
}

TEST_F(EventLogTest, ContinuesAFileThatIsThere) {
  support::write_file(m_file, "before\n");
  make()->log_event("QZ_TEST", 1, QZ_Logging::INFORMATION, "after", CORBA::AnySeq());
  EXPECT_EQ(support::read_lines(m_file).size(), 2u);
}

TEST_F(EventLogTest, GoesOnInANewFileAfterARotation) {
  const auto log = make();
  log->log_event("QZ_TEST", 1, QZ_Logging::INFORMATION, "one", CORBA::AnySeq());
  ASSERT_EQ(rename(m_file.c_str(), (m_file + ".1").c_str()), 0);
  log->log_event("QZ_TEST", 1, QZ_Logging::INFORMATION, "two", CORBA::AnySeq());
  log->reopen();
  log->log_event("QZ_TEST", 1, QZ_Logging::INFORMATION, "three", CORBA::AnySeq());
  EXPECT_EQ(support::read_lines(m_file + ".1").size(), 2u);
  EXPECT_THAT(support::read_file(m_file), HasSubstr("three"));
}

TEST_F(EventLogTest, KeepsItsFileWhenANewOneCannotBeOpened) {
  const std::string folder = m_dir.file("folder");
  ASSERT_EQ(mkdir(folder.c_str(), 0755), 0);
  const Log log(new EventLogImpl({folder + "/events.log", false, QZ_Logging::INFORMATION}));
  ASSERT_EQ(rename(folder.c_str(), m_dir.file("moved").c_str()), 0);
  support::write_file(folder, "a file, where a folder was");
  EXPECT_THROW(log->reopen(), std::runtime_error);
  log->log_event("QZ_TEST", 1, QZ_Logging::INFORMATION, "still there", CORBA::AnySeq());
  EXPECT_THAT(support::read_file(m_dir.file("moved/events.log")), HasSubstr("still there"));
}

TEST_F(EventLogTest, SaysWhenItsFileCannotBeOpened) {
  try {
    const Log log(new EventLogImpl({m_dir.path(), false, QZ_Logging::INFORMATION}));
    FAIL() << "a folder was opened as a file";
  } catch (const std::runtime_error& e) {
    EXPECT_THAT(e.what(), HasSubstr(m_dir.path()));
  }
}

TEST_F(EventLogTest, CountsEventsThatCannotBeWrittenAndThrowsNothing) {
  const Log log(new EventLogImpl({"/dev/full", false, QZ_Logging::INFORMATION}));
  EXPECT_NO_THROW(log->log_event("QZ_TEST", 1, QZ_Logging::INFORMATION, "lost", CORBA::AnySeq()));
  EXPECT_NO_THROW(log->log_event("QZ_TEST", 1, QZ_Logging::INFORMATION, "lost", CORBA::AnySeq()));
  EXPECT_GE(log->failures(), 2u);
}

TEST_F(EventLogTest, GathersInformationUntilSomethingUrgentComes) {
  const auto log = make();
  {
    const GatheredEvents gathered(*log, NEVER);
    say(*log, QZ_Logging::INFORMATION, "one");
    EXPECT_THAT(support::read_file(m_file), IsEmpty());
    say(*log, QZ_Logging::WARNING, "two");
    EXPECT_THAT(support::read_lines(m_file), ElementsAre(HasSubstr("one"), HasSubstr("two")));
    say(*log, QZ_Logging::INFORMATION, "three");
    EXPECT_EQ(support::read_lines(m_file).size(), 2u);
  }
  EXPECT_THAT(support::read_lines(m_file), ElementsAre(HasSubstr("one"), HasSubstr("two"), HasSubstr("three")));
  say(*log, QZ_Logging::INFORMATION, "four");
  EXPECT_EQ(support::read_lines(m_file).size(), 4u);
}

TEST_F(EventLogTest, KeepsTheOrderOfGatheredLinesWhateverTheirLength) {
  const auto log = make();
  const std::string longer(10'000, 'x');  // than what is gathered at all
  {
    const GatheredEvents gathered(*log, NEVER);
    for (const char* text : {"one", "two", longer.c_str(), "three"}) say(*log, QZ_Logging::INFORMATION, text);
    EXPECT_EQ(support::read_lines(m_file).size(), 3u);
  }
  EXPECT_THAT(support::read_lines(m_file),
              ElementsAre(HasSubstr(" one"), HasSubstr(" two"), HasSubstr(longer), HasSubstr(" three")));
}

TEST_F(EventLogTest, GathersNothingOnStandardError) {
  const auto killed = [] {
    const Log log(new EventLogImpl({"", false, QZ_Logging::INFORMATION}));
    const GatheredEvents gathered(*log, NEVER);
    say(*log, QZ_Logging::INFORMATION, "seen at once");
    ::raise(SIGKILL);
  };
  EXPECT_EXIT(killed(), testing::KilledBySignal(SIGKILL), "seen at once");
}

TEST_F(EventLogTest, CountsAFailureWhenGatheredLinesCannotBeWritten) {
  const Log log(new EventLogImpl({"/dev/full", false, QZ_Logging::INFORMATION}));
  {
    const GatheredEvents gathered(*log, NEVER);
    EXPECT_NO_THROW(say(*log, QZ_Logging::INFORMATION, "lost"));
    EXPECT_EQ(log->failures(), 0u);
  }
  EXPECT_GE(log->failures(), 1u);
}

TEST_F(EventLogTest, WritesWhatItHasGatheredAfterAWhile) {
  const auto log = make();
  const GatheredEvents gathered(*log, std::chrono::milliseconds(1));
  for (const char* text : {"one", "two"}) {
    say(*log, QZ_Logging::INFORMATION, text);
    EXPECT_TRUE(support::wait_until([&] { return support::read_file(m_file).find(text) != std::string::npos; }));
  }
}

TEST_F(EventLogTest, HasWrittenWholeLinesWhenItIsKilledWhileItGathers) {
  constexpr int LINES = 300;
  const auto killed = [this] {
    const auto log = make();
    const GatheredEvents gathered(*log, NEVER);
    for (int i = 0; i < LINES; ++i) say(*log, QZ_Logging::INFORMATION, "a line of a start that does not get far");
    ::raise(SIGKILL);
  };
  EXPECT_EXIT(killed(), testing::KilledBySignal(SIGKILL), "");
  const std::string text = support::read_file(m_file);
  EXPECT_THAT(text, testing::EndsWith("\n"));
  const auto lines = support::read_lines(m_file);
  EXPECT_GT(lines.size(), LINES / 2u);
  EXPECT_LT(lines.size(), LINES) << "nothing was gathered";
}

TEST_F(EventLogTest, KeepsLinesOfManyThreadsApart) {
  const auto log = make(true);
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i)
    threads.emplace_back([&] {
      for (int k = 0; k < 200; ++k)
        log->log_event("QZ_TEST", 1, QZ_Logging::INFORMATION, "%0", parameters({"some text that is long enough"}));
    });
  for (int i = 0; i < 20; ++i) log->reopen();
  for (auto& thread : threads) thread.join();
  const auto lines = support::read_lines(m_file);
  EXPECT_EQ(lines.size(), 1600u);
  for (const auto& line : lines) EXPECT_TRUE(nlohmann::json::accept(line)) << line;
}

TEST_F(EventLogTest, ReportsTheHostsOwnEvents) {
  const auto log = make(true);
  report(log.get(), PROCESS_EXITED_EVENT, {"bank", "12", "3"});
  const auto json = nlohmann::json::parse(support::read_file(m_file));
  EXPECT_EQ(json.at("subsystem"), "QZ_HOST");
  EXPECT_EQ(json.at("message"), "Process \"bank\" exited. Pid: 12, status: 3");
  EXPECT_NO_THROW(report(QZ_Logging::EventLog::_nil(), PROCESS_EXITED_EVENT, {"bank"}));
}

}  // namespace
