#include "tests/support/proc_info.h"

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "tests/support/files.h"

namespace support {

namespace {

std::string proc_path(pid_t pid, const char* what) {
  return "/proc/" + std::to_string(pid) + "/" + what;
}

// State letter and parent: the fields after the name, which may hold anything.
bool read_stat(pid_t pid, char& state, pid_t& parent) {
  const std::string text = read_file(proc_path(pid, "stat"));
  const auto end_of_name = text.rfind(')');
  if (end_of_name == std::string::npos) return false;
  std::istringstream fields(text.substr(end_of_name + 1));
  return static_cast<bool>(fields >> state >> parent);
}

}  // namespace

std::size_t status_number(pid_t pid, const char* field) {
  const std::string start = std::string(field) + ":";
  for (const std::string& line : read_lines(proc_path(pid, "status"))) {
    if (line.starts_with(start)) return std::strtoul(line.c_str() + start.size(), nullptr, 10);
  }
  return 0;
}

std::size_t open_files(pid_t pid) {
  std::error_code error;
  std::filesystem::directory_iterator files(proc_path(pid, "fd"), error);
  return error ? 0 : static_cast<std::size_t>(std::distance(begin(files), end(files)));
}

bool runs(pid_t pid) {
  char state = 0;
  pid_t parent = 0;
  return read_stat(pid, state, parent) && state != 'Z' && state != 'X';
}

std::vector<pid_t> children() {
  std::vector<pid_t> result;
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator("/proc", error)) {
    const pid_t pid = std::atoi(entry.path().filename().c_str());
    char state = 0;
    pid_t parent = 0;
    if (pid > 0 && read_stat(pid, state, parent) && parent == getpid()) result.push_back(pid);
  }
  return result;
}

}  // namespace support
