#include "platform/base/qz_runtime_error.h"

#include <cstdio>

namespace {

std::string text_of(unsigned long code) {
  char text[64];
  std::snprintf(text, sizeof text, "runtime error 0x%08lX (%s)", code,
                code == QZ_ERROR_NO_MEMORY ? "no memory" : "request too large");
  return text;
}

}  // namespace

QZ_RuntimeError::QZ_RuntimeError(unsigned long code) : std::runtime_error(text_of(code)), m_code(code) {}

const QZ_RuntimeErrorHandler& QZ_throwing_error_handler() {
  static const QZ_RuntimeErrorHandler handler = [](unsigned long code) { throw QZ_RuntimeError(code); };
  return handler;
}
