#include "tests/support/event_log.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <sstream>

#include "tests/support/files.h"
#include "tests/support/wait.h"

namespace support {

namespace {

bool begins_with(const std::vector<std::string>& all, const std::vector<std::string>& start) {
  return all.size() >= start.size() && std::equal(start.begin(), start.end(), all.begin());
}

}  // namespace

std::vector<Event> EventLog::events() const {
  std::vector<Event> result;
  std::string text = read_file(m_path);
  // The last line may still be on its way.
  text.resize(text.rfind('\n') == std::string::npos ? 0 : text.rfind('\n'));
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) {
    const auto json = nlohmann::json::parse(line);
    result.push_back({json.at("subsystem"), json.at("id"), json.at("priority"), json.at("message"),
                      json.at("parameters").get<std::vector<std::string>>()});
  }
  return result;
}

std::size_t EventLog::count(unsigned id, const std::vector<std::string>& parameters) const {
  const auto all = events();
  return static_cast<std::size_t>(std::count_if(all.begin(), all.end(), [&](const Event& event) {
    return event.subsystem == PLUGIN && event.id == id && begins_with(event.parameters, parameters);
  }));
}

bool EventLog::wait_for(unsigned id, const std::vector<std::string>& parameters, std::size_t times) const {
  return wait_until([&] { return count(id, parameters) >= times; });
}

bool EventLog::wait_for(const std::function<bool(const Event&)>& matches) const {
  return wait_until([&] {
    const auto all = events();
    return std::any_of(all.begin(), all.end(), matches);
  });
}

}  // namespace support
