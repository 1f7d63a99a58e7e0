#include "platform/orb/exception_text.h"

#include <cstdio>

namespace QZ_CORBA {

namespace {

const char* text_of(CORBA::CompletionStatus status) {
  switch (status) {
    case CORBA::COMPLETED_YES:
      return "COMPLETED_YES";
    case CORBA::COMPLETED_NO:
      return "COMPLETED_NO";
    default:
      return "COMPLETED_MAYBE";
  }
}

}  // namespace

std::string to_string(const CORBA::Exception& exception) {
  std::string text = exception._name();
  const auto* system = dynamic_cast<const CORBA::SystemException*>(&exception);
  if (!system) return text + " (" + exception._rep_id() + ")";

  char minor[16];
  std::snprintf(minor, sizeof minor, "0x%08X", static_cast<unsigned>(system->minor()));
  text.append(" (minor ").append(minor);
  if (const char* name = system->NP_minorString()) text.append(" ").append(name);
  return text.append(", ").append(text_of(system->completed())).append(")");
}

}  // namespace QZ_CORBA

namespace CORBA {

std::ostream& operator<<(std::ostream& out, const SystemException& exception) {
  return out << QZ_CORBA::to_string(exception);
}

std::ostream& operator<<(std::ostream& out, const Exception& exception) {
  return out << QZ_CORBA::to_string(exception);
}

}  // namespace CORBA
