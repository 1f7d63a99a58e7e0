// A program on a terminal of its own, as a person uses it.
#pragma once

#include <sys/types.h>

#include <map>
#include <optional>
#include <string>
#include <vector>

class Terminal {
 public:
  Terminal(const std::vector<std::string>& argv, const std::map<std::string, std::string>& environment,
           unsigned short columns = 100);
  // Kills the program when it still runs.
  ~Terminal();
  Terminal(const Terminal&) = delete;
  Terminal& operator=(const Terminal&) = delete;

  void type(const std::string& text);
  // Whether the screen gets that text within the usual limit.
  bool shows(const std::string& text);
  // Everything that came so far.
  const std::string& screen() const { return m_screen; }
  // Exit code, once the program has ended and all its output has come; empty when it does not end.
  std::optional<int> wait();

 private:
  // False at the end of the output.
  bool read_some();

  int m_fd = -1;
  pid_t m_pid = -1;
  std::string m_screen;
};
