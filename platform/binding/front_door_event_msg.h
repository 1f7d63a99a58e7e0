// The front door's messages in the event log.
#pragma once

#include <qz_logging.hh>

namespace QZ_Binding {

inline constexpr const char* FRONT_DOOR_SUBSYSTEM = "QZ_FRONT_DOOR";

struct FrontDoorMsg {
  QZ_Logging::EventId id;
  QZ_Logging::EventPriority priority;
  const char* text;
};

// Messages 10 to 29 are not logged each time: their last parameter is how often the same happened unlogged before.
inline constexpr unsigned FRONT_DOOR_MSG_COUNT = 30;

inline constexpr FrontDoorMsg LISTENING_MSG{1, QZ_Logging::INFORMATION, "Listening on %0"};
inline constexpr FrontDoorMsg SERVING_MSG{2, QZ_Logging::INFORMATION, "Serving clients; published as %0"};
inline constexpr FrontDoorMsg STOPPED_MSG{3, QZ_Logging::INFORMATION, "Stopped serving clients"};

inline constexpr FrontDoorMsg CONNECTION_LIMIT_MSG{
    10, QZ_Logging::WARNING,
    "Connection from %0 refused: %1 connections are open, which is the limit (%2 unlogged before)"};
inline constexpr FrontDoorMsg ADDRESS_LIMIT_MSG{
    11, QZ_Logging::WARNING,
    "Connection from %0 refused: its address has %1 connections open, which is the limit (%2 unlogged before)"};
inline constexpr FrontDoorMsg HEADER_SIZE_MSG{
    12, QZ_Logging::WARNING, "Request header from %0 is longer than %1 octets; connection closed (%2 unlogged before)"};
inline constexpr FrontDoorMsg KEY_SIZE_MSG{
    13, QZ_Logging::WARNING, "Object key from %0 is longer than %1 octets; request refused (%2 unlogged before)"};
inline constexpr FrontDoorMsg REQUEST_LIMIT_MSG{
    14, QZ_Logging::WARNING, "%0 has %1 requests unanswered; not reading more until one is (%2 unlogged before)"};
inline constexpr FrontDoorMsg OUTPUT_LIMIT_MSG{
    15, QZ_Logging::WARNING,
    "%0 leaves %1 octets of replies unread; not reading more until they are (%2 unlogged before)"};
inline constexpr FrontDoorMsg INCOMPLETE_LIMIT_MSG{
    16, QZ_Logging::WARNING, "%0 has more than %1 incomplete requests; connection closed (%2 unlogged before)"};
inline constexpr FrontDoorMsg IDLE_MSG{17, QZ_Logging::INFORMATION,
                                       "Connection from %0 idle for %1 ms; closed (%2 unlogged before)"};
inline constexpr FrontDoorMsg MESSAGE_TIME_MSG{
    18, QZ_Logging::WARNING, "Message from %0 not complete after %1 ms; connection closed (%2 unlogged before)"};
inline constexpr FrontDoorMsg OUTPUT_TIME_MSG{
    19, QZ_Logging::WARNING, "%0 has taken nothing of its replies for %1 ms; connection closed (%2 unlogged before)"};
inline constexpr FrontDoorMsg ACCEPT_FAILED_MSG{
    20, QZ_Logging::ERROR_PRIORITY, "Cannot accept connections on %0: %1; trying again (%2 unlogged before)"};
inline constexpr FrontDoorMsg PROTOCOL_ERROR_MSG{21, QZ_Logging::WARNING,
                                                 "Protocol error from %0: %1; connection closed (%2 unlogged before)"};
inline constexpr FrontDoorMsg INTERCEPTOR_RAISED_MSG{
    22, QZ_Logging::ERROR_PRIORITY,
    "Interceptor %0 raised an exception; the request is answered UNKNOWN (%1 unlogged before)"};
inline constexpr FrontDoorMsg NO_OUTCOME_MSG{
    23, QZ_Logging::ERROR_PRIORITY,
    "A request was ended without an outcome; it is answered UNKNOWN (%0 unlogged before)"};
inline constexpr FrontDoorMsg PARK_TIME_MSG{
    24, QZ_Logging::WARNING, "Request from %0 unanswered for %1 ms; answered TRANSIENT (%2 unlogged before)"};

}  // namespace QZ_Binding
