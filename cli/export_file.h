// A file that is written as a whole or not at all.
#pragma once

#include <fstream>
#include <string>

#include "cli/interrupt.h"

namespace poaloc {

// A device or a pipe is written straight into, because nothing may take its place. Any other file keeps what was there
// before, its owner and its mode until finish(); symbolic links are followed.
class ExportFile {
 public:
  // Failure (FAILED) here and below when it cannot be written; also when the user interrupts.
  explicit ExportFile(const std::string& name);
  // Leaves nothing behind unless it is finished.
  ~ExportFile();
  ExportFile(const ExportFile&) = delete;
  ExportFile& operator=(const ExportFile&) = delete;

  void write(const std::string& text);
  void finish();

 private:
  [[noreturn]] void fail(int error) const;
  void open_unfinished();

  const std::string m_name;
  Interrupt m_interrupt;
  std::string m_target;      // where the links lead
  std::string m_unfinished;  // beside the target; empty: written straight
  std::ofstream m_out;
};

}  // namespace poaloc
