// Minor codes of the system exceptions that the plug-in's active state raises, all with COMPLETED_NO. A code means
// what it says only together with its exception.
#pragma once

#include <omniORB4/CORBA.h>

// TRANSIENT
constexpr CORBA::ULong MINOR_NOT_STARTABLE = 0x515A0C00;       // neither activator nor process for the POA's ORB
constexpr CORBA::ULong MINOR_START_FAILED = 0x515A0C01;        // the server process could not be started
constexpr CORBA::ULong MINOR_ENDPOINT_DESTROYED = 0x515A0C03;  // the POA's record went while the request was here
constexpr CORBA::ULong MINOR_ACTIVATION_FAILED = 0x515A0C04;   // the activator could not be reached or failed
constexpr CORBA::ULong MINOR_USER_EXCEPTION = 0x515A0C05;      // a user exception on the way of a request

// OBJECT_NOT_EXIST
constexpr CORBA::ULong MINOR_NO_ACTIVE_ENDPOINT = 0x515A0C00;  // an administration object whose record has gone
constexpr CORBA::ULong MINOR_NOT_PERSISTENT = 0x515A0C04;      // no persistent entry in the repository
constexpr CORBA::ULong MINOR_NO_MIRROR = 0x515A0C05;           // the stored record of the endpoint is missing
constexpr CORBA::ULong MINOR_NO_SUCH_POA = 0x515A0C06;         // the server says that it has no such POA
constexpr CORBA::ULong MINOR_NO_ACTIVE_ORB = 0x515A0C07;       // an administration object whose ORB has gone

// INV_OBJREF
constexpr CORBA::ULong MINOR_SHORT_KEY = 0x515A0C00;  // the key names a POA but no object in it
constexpr CORBA::ULong MINOR_NO_KEY = 0x515A0C01;     // the request has no object key

// UNKNOWN
constexpr CORBA::ULong MINOR_LOCATOR_UNKNOWN = 0x515A0C00;   // unknown exception in the locator's interceptor
constexpr CORBA::ULong MINOR_ENDPOINT_UNKNOWN = 0x515A0C01;  // the same in an endpoint's interceptor

// INTERNAL
constexpr CORBA::ULong MINOR_NO_PROCESS_RECORD = 0x515A0C04;  // the host's process record could not be joined

// BAD_PARAM
constexpr CORBA::ULong MINOR_NIL_REFERENCE = 0x515A0C05;  // a registration without the references that it is about
constexpr CORBA::ULong MINOR_BAD_NAME = 0x515A0C06;       // no POA of this domain, or an empty ORB name

// NO_IMPLEMENT
constexpr CORBA::ULong MINOR_REGISTER_OBSERVER = 0x515A0C03;
constexpr CORBA::ULong MINOR_UNREGISTER_OBSERVER = 0x515A0C04;
