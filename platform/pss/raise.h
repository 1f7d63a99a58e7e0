// Raising the store's exceptions; internal to the store.
#pragma once

#include <soci/soci.h>

#include <string>

#include "platform/pss/pss_errors.h"

namespace QZ_PSS {

void set_last_error(const std::string& text);

template <class Exception>
[[noreturn]] void raise(CORBA::ULong minor, const std::string& text) {
  set_last_error(text);
  throw Exception(minor, CORBA::COMPLETED_NO);
}

// PERSIST_STORE or TRANSIENT, after the engine's result code.
[[noreturn]] void raise(const soci::soci_error& error);

bool is_locked(const soci::soci_error& error);

}  // namespace QZ_PSS
