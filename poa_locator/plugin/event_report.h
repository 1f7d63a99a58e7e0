// One report of the plug-in to the event log, under the plug-in's subsystem.
#pragma once

#include <initializer_list>

#include <qz_logging.hh>

// params: one string for each placeholder of text, in their order. They are C strings on purpose: the printable name
// of an endpoint id ends in a NUL (EndpointIdUtils::id_to_fqpn_string), which must not reach the log.
// A failure of the log itself passes through. Safe from any thread.
void report(QZ_Logging::EventLog_ptr event_log, QZ_Logging::EventId id, QZ_Logging::EventPriority priority,
            const char* text, std::initializer_list<const char*> params = {});
