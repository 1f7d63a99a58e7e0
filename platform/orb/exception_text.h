// CORBA exceptions as text for people.
#pragma once

#include <omniORB4/CORBA.h>

#include <ostream>
#include <string>

namespace QZ_CORBA {

// "TRANSIENT (minor 0x515A0C04, COMPLETED_NO)"; where the ORB knows the minor code, its name follows the number. A user
// exception is its name and repository id: "InvalidOrbName (IDL:...:1.0)".
std::string to_string(const CORBA::Exception& exception);

}  // namespace QZ_CORBA

// In the exceptions' namespace, so that they are found from any other.
namespace CORBA {

std::ostream& operator<<(std::ostream& out, const SystemException& exception);
std::ostream& operator<<(std::ostream& out, const Exception& exception);

}  // namespace CORBA
