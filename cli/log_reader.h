// The log file of a process, read through the locator.
#pragma once

#include <qz_locator_admin.hh>

#include <string>

#include "cli/connection.h"
#include "cli/output.h"

namespace poaloc {

class LogReader {
 public:
  // Failure (NOT_FOUND) when no such process is configured.
  LogReader(Connection& connection, const std::string& name);

  void print_last(Output& output, unsigned lines);
  // What is added from then on, for ever.
  void follow(Output& output);

 private:
  // From the position on to the file's end, which is the position afterwards.
  std::string read_from(long long position);
  void print(Output& output, const std::string& text);

  const std::string m_name;
  QZ_LocatorAdmin::ActiveProcess_var m_process;
  long long m_position = 0;
  std::string m_incomplete;  // a line whose end has not come yet
};

}  // namespace poaloc
