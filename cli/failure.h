#pragma once

#include <stdexcept>
#include <string>

#include "cli/exit_code.h"

namespace poaloc {

// Ends the command. what() is one sentence that says what to do next; empty: there is nothing to say.
class Failure : public std::runtime_error {
 public:
  Failure(ExitCode code, const std::string& sentence) : std::runtime_error(sentence), m_code(code) {}

  ExitCode code() const { return m_code; }

 private:
  ExitCode m_code;
};

// what: "read" or "written".
[[noreturn]] void fail_file(const std::string& file, const std::string& what, int error);

}  // namespace poaloc
