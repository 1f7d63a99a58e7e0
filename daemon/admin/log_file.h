// Log files of processes, as administrators read them.
#pragma once

#include <omniORB4/CORBA.h>

#include <string>

namespace poalocd {

// As QZ_LocatorAdmin::ActiveProcess::read_log says, and not more than 256 KiB; an empty name is no file. The caller
// deletes the result. QZ_LocatorAdmin::NoLog.
CORBA::OctetSeq* read_log_file(const std::string& file, CORBA::LongLong position, CORBA::ULong how_many,
                               CORBA::LongLong& next);

}  // namespace poalocd
