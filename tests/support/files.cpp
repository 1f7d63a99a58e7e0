#include "tests/support/files.h"

#include <fcntl.h>
#include <unistd.h>

#include <fstream>
#include <sstream>
#include <stdexcept>

namespace support {

std::string read_file(const std::string& path) {
  std::ifstream in(path);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

std::vector<std::string> read_lines(const std::string& path) {
  std::vector<std::string> lines;
  std::ifstream in(path);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

void write_file(const std::string& path, const std::string& text) {
  std::ofstream out(path, std::ios::trunc);
  out << text;
  if (!out.flush()) throw std::runtime_error("cannot write " + path);
}

void append_line(const std::string& path, const std::string& line) {
  const std::string text = line + "\n";
  const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
  const bool written = fd >= 0 && write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
  if (fd >= 0) close(fd);
  if (!written) throw std::runtime_error("cannot append to " + path);
}

bool file_exists(const std::string& path) {
  return access(path.c_str(), F_OK) == 0;
}

}  // namespace support
