// The log file of a process, read through the locator.
#pragma once

#include <qz_locator_admin.hh>

#include <string>

#include "cli/context.h"

namespace poaloc {

class LogReader {
 public:
  // Failure (NOT_FOUND) when no such process is configured.
  LogReader(Context& context, const std::string& name);

  void print_last(unsigned lines);
  // What is added from then on, for ever.
  [[noreturn]] void follow();

 private:
  void find();
  // What comes next, if anything.
  std::string read_some();
  // From the position on to the file's end, which is the position afterwards.
  std::string read_from(long long position);
  void print(const std::string& text);

  Context& m_context;
  const std::string m_name;
  QZ_LocatorAdmin::ActiveProcess_var m_process;
  long long m_position = 0;
  std::string m_incomplete;  // a line whose end has not come yet
};

}  // namespace poaloc
