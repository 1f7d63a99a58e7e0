#include "poa_locator/plugin/event_report.h"

void report(QZ_Logging::EventLog_ptr event_log, QZ_Logging::EventId id, QZ_Logging::EventPriority priority,
            const char* text, std::initializer_list<const char*> params) {
  CORBA::AnySeq values(static_cast<CORBA::ULong>(params.size()));
  values.length(static_cast<CORBA::ULong>(params.size()));
  CORBA::ULong i = 0;
  for (const char* param : params) values[i++] <<= param;
  event_log->log_event(QZ_PoaLocLogging::SUBSYSTEM, id, priority, text, values);
}
