// POA names as people write them: "Bank/Accounts", from the outermost down. "/" is the root. A slash or backslash
// within a name has a backslash before it.
#pragma once

#include <omniORB4/CORBA.h>

#include <string>

namespace poaloc {

// Failure (USAGE) for an empty name, an empty part, or a backslash before anything else.
CORBA::StringSeq parse_poa_name(const std::string& text);
std::string poa_name_text(const CORBA::StringSeq& name);

// The name without its last part. Not for the root.
CORBA::StringSeq parent_name(const CORBA::StringSeq& name);
// Whether name is prefix or stands below it.
bool starts_with(const CORBA::StringSeq& name, const CORBA::StringSeq& prefix);

}  // namespace poaloc
