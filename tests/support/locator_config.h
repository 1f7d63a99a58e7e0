// The configuration file of a daemon under test.
#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

namespace support {

class LocatorConfig {
 public:
  struct Process {
    std::string name;
    std::vector<std::string> argv;
    std::vector<std::pair<std::string, std::string>> settings;  // further keys, values as TOML writes them
  };

  // value as TOML writes it: strings with their quotes.
  void set(const std::string& section, const std::string& key, const std::string& value);
  void set_text(const std::string& section, const std::string& key, const std::string& text) {
    set(section, key, quoted(text));
  }
  void erase(const std::string& section, const std::string& key) { m_sections[section].erase(key); }

  void set_domain(const std::string& domain);
  const std::string& domain() const { return m_domain; }

  void add_process(Process process) { m_processes.push_back(std::move(process)); }
  void clear_processes() { m_processes.clear(); }
  // An empty process name: known, but with no process.
  void add_orb(const std::string& name, const std::string& process) { m_orbs.emplace_back(name, process); }

  // Goes to the end of the file as it stands.
  void append(const std::string& text) { m_rest += text; }

  std::string text() const;

  static std::string quoted(const std::string& text);

 private:
  std::string m_domain;
  std::map<std::string, std::map<std::string, std::string>> m_sections;
  std::vector<Process> m_processes;
  std::vector<std::pair<std::string, std::string>> m_orbs;
  std::string m_rest;
};

}  // namespace support
