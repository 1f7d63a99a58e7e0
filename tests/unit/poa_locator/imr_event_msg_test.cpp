#include <gmock/gmock.h>

#include <set>

#include "poa_locator/plugin/event_report.h"
#include "poa_locator/plugin/poa_loc_event_msg.h"
#include "tests/unit/poa_locator/recording_event_log.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class EventReport : public testing::Test {
 protected:
  EventReport() : m_recording(new RecordingEventLog), m_log(m_recording) {}

  RecordedEvent only_event() const {
    const auto events = m_recording->events();
    EXPECT_EQ(events.size(), 1u);
    return events.empty() ? RecordedEvent{} : events.front();
  }

  RecordingEventLog* const m_recording;
  const QZ_Logging::EventLog_var m_log;  // owns m_recording
};

TEST_F(EventReport, TextWithoutPlaceholdersGoesWithAnEmptyParameterSequence) {
  report(m_log, POALocEvent::POA_LOC_INTERCEPTOR_EXCEPTION, QZ_Logging::ERROR_PRIORITY,
         POA_LOC_INTERCEPTOR_EXCEPTION_MSG);
  const RecordedEvent event = only_event();
  EXPECT_EQ(event.id, 17u);
  EXPECT_EQ(event.priority, 32u);
  EXPECT_EQ(event.text, "POA Locator interceptor received an unknown exception while handling a request.");
  EXPECT_THAT(event.params, IsEmpty());
}

TEST_F(EventReport, CarriesThePluginsSubsystem) {
  report(m_log, POALocEvent::ENDPOINT_REGISTERED, QZ_Logging::INFORMATION, ENDPOINT_REGISTERED_MSG, {"A"});
  EXPECT_EQ(only_event().subsystem, QZ_PoaLocLogging::SUBSYSTEM);
}

TEST_F(EventReport, ParametersAreStringsInPlaceholderOrder) {
  report(m_log, POALocEvent::SERVER_START_FAILURE, QZ_Logging::ERROR_PRIORITY, SERVER_START_FAILURE_MSG,
         {"process", "orb", "A/B", "no such file"});
  EXPECT_THAT(only_event().params, ElementsAre("process", "orb", "A/B", "no such file"));
}

TEST_F(EventReport, FailureOfTheLogPassesThrough) {
  struct FailingLog : virtual QZ_Logging::EventLog, QZ_CORBA::RefCountedLocalObject {
    void log_event(const char*, QZ_Logging::EventId, QZ_Logging::EventPriority, const char*,
                   const CORBA::AnySeq&) override {
      throw CORBA::NO_RESOURCES();
    }
  };
  const QZ_Logging::EventLog_var failing = new FailingLog;
  EXPECT_THROW(
      report(failing, POALocEvent::ENDPOINT_REGISTERED, QZ_Logging::INFORMATION, ENDPOINT_REGISTERED_MSG, {"A"}),
      CORBA::NO_RESOURCES);
}

TEST(EventCatalogue, InterceptorMessagesKeepTheirIdsOutOfOrder) {
  EXPECT_EQ(POALocEvent::POA_LOC_INTERCEPTOR_EXCEPTION, 17u);
  EXPECT_EQ(POALocEvent::POA_LOC_INTERCEPTOR_SYS_EXCEPTION, 19u);
  EXPECT_EQ(POALocEvent::ENDPOINT_INTERCEPTOR_EXCEPTION, 16u);
  EXPECT_EQ(POALocEvent::ENDPOINT_INTERCEPTOR_SYS_EXCEPTION, 18u);
  EXPECT_EQ(POALocEvent::ENDPOINT_ACTIVATOR_REG_NO_ORB, 15u);
  EXPECT_EQ(POALocEvent::SERVER_START, 20u);
  EXPECT_EQ(POALocEvent::ENDPOINT_ADD_INTERNAL, 66u);
}

TEST(EventCatalogue, MisspellingsAndLineEndsAreKept) {
  EXPECT_STREQ(ENDPOINT_INTERCEPTOR_EXCEPTION_MSG,
               "Endpoint interceptor received an unknow exception while handling a request.");
  EXPECT_STREQ(ENDPOINT_ACTIVATOR_REG_NO_ORB_MSG,
               "received endpoint activator registration for an ORB name that has no entryin the IMR.\nORB name: %0");
  EXPECT_STREQ(ACTIVE_ORB_TABLE_REMOVE_FAILED_MSG,
               "Attempt to remove active ORB from table during destruction failed..ORB name: %0\n");
  EXPECT_STREQ(ACTIVE_ENDPOINT_REMOVE_PERSIS_DATA_FAILED_MSG,
               "A system exception occured while trying to remove persistent data for an active POA. POA Name: "
               "%0\nSystem Exception: %1");
  EXPECT_STREQ(ACTIVE_ENDPOINT_PERSIS_DATA_EXISTS_MSG,
               "Failed to add active POA to persistent store during contruction, persistent data already exists. POA "
               "Name: %0\n");
  EXPECT_STREQ(ENDPOINT_ADD_INTERNAL_MSG,
               "Caught an unexpected exception when trying to add a POA IMR entry to the database. POA Name: %0");
  EXPECT_STREQ(SERVER_START_FAILURE_MSG, "Server start failed for process \"%0\" for ORB \"%1\" and POA \"%2\".\n%3");
}

}  // namespace
