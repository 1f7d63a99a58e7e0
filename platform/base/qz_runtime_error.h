// Numbered failures of the foundation classes.
#pragma once

#include <functional>
#include <stdexcept>
#include <string>

inline constexpr unsigned long QZ_ERROR_NO_MEMORY = 0xC0DE0001;
inline constexpr unsigned long QZ_ERROR_TOO_LARGE = 0xC0DE0003;

class QZ_RuntimeError : public std::runtime_error {
 public:
  explicit QZ_RuntimeError(unsigned long code);
  unsigned long code() const { return m_code; }

 private:
  unsigned long m_code;
};

// Told of a failure by the operation that it was given to. It may throw; when it returns, the operation ends without
// effect.
using QZ_RuntimeErrorHandler = std::function<void(unsigned long code)>;
// Throws QZ_RuntimeError.
const QZ_RuntimeErrorHandler& QZ_throwing_error_handler();
