#include "tests/support/locator_config.h"

namespace support {

void LocatorConfig::set(const std::string& section, const std::string& key, const std::string& value) {
  m_sections[section][key] = value;
}

void LocatorConfig::set_domain(const std::string& domain) {
  m_domain = domain;
  set_text("locator", "domain", domain);
}

std::string LocatorConfig::text() const {
  std::string result;
  for (const auto& [section, keys] : m_sections) {
    result += "[" + section + "]\n";
    for (const auto& [key, value] : keys) result += key + " = " + value + "\n";
  }
  for (const Process& process : m_processes) {
    result += "[[process]]\nname = " + quoted(process.name) + "\nargv = [";
    for (const std::string& argument : process.argv) result += quoted(argument) + ", ";
    result += "]\n";
    for (const auto& [key, value] : process.settings) result += key + " = " + value + "\n";
  }
  for (const auto& [name, process] : m_orbs) {
    result += "[[orb]]\nname = " + quoted(name) + "\n";
    if (!process.empty()) result += "process = " + quoted(process) + "\n";
  }
  return result + m_rest;
}

std::string LocatorConfig::quoted(const std::string& text) {
  std::string result = "\"";
  for (const char character : text) {
    if (character == '"' || character == '\\') result += '\\';
    result += character;
  }
  return result + "\"";
}

}  // namespace support
