#include "daemon/exception_text.h"

#include <exception>

#include "platform/orb/exception_text.h"

namespace poalocd {

std::string current_exception_text() {
  try {
    throw;
  } catch (const CORBA::Exception& e) {
    return QZ_CORBA::to_string(e);
  } catch (const std::exception& e) {
    return e.what();
  } catch (...) {
    return "unknown exception";
  }
}

}  // namespace poalocd
