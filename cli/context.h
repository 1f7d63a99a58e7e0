// What every verb works with.
#pragma once

#include <istream>
#include <memory>
#include <ostream>
#include <string>

#include "cli/connection.h"
#include "cli/options.h"
#include "cli/output.h"

namespace poaloc {

struct Streams {
  std::istream& in;
  std::ostream& out;
  std::ostream& err;
  bool in_is_terminal = false;
  bool out_is_terminal = false;
  bool err_is_terminal = false;
};

class Context {
 public:
  explicit Context(const Streams& streams) : m_streams(streams) {}

  // Filled by the command line; not changed once a verb runs.
  Options& options() { return m_options; }
  const Streams& streams() const { return m_streams; }

  Output& output();
  // Made at the first use.
  Connection& connection();
  bool connected() const { return m_connection != nullptr; }

  // Failure (NOT_CONFIRMED) unless the answer is yes, or --yes was given. question: without its question mark.
  void confirm(const std::string& question);
  // For people, on standard error.
  void note(const std::string& sentence);

 private:
  const Streams m_streams;
  Options m_options;
  std::unique_ptr<Output> m_output;
  std::unique_ptr<Connection> m_connection;
};

}  // namespace poaloc
