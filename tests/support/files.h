// Small files as signals and records between a test and the programs it starts.
#pragma once

#include <string>
#include <vector>

namespace support {

// Empty when the file does not exist.
std::string read_file(const std::string& path);
std::vector<std::string> read_lines(const std::string& path);
void write_file(const std::string& path, const std::string& text);
// One write call, so that lines of several processes do not mix.
void append_line(const std::string& path, const std::string& line);
bool file_exists(const std::string& path);

}  // namespace support
