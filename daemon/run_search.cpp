#include "daemon/run_search.h"

#include <unistd.h>

#include <charconv>
#include <filesystem>
#include <fstream>
#include <system_error>

namespace poalocd {

namespace {

// The daemon makes each process the leader of a group in its own session; leaders of sessions are no work of its own.
bool led_by_itself(pid_t pid) {
  return ::getpgid(pid) == pid && ::getsid(pid) != pid;
}

// Empty when that process is none of the owners'.
std::string process_name(pid_t pid, const std::vector<std::string>& owners) {
  std::ifstream environment("/proc/" + std::to_string(pid) + "/environ");
  const std::string start = std::string(RUN_VARIABLE) + "=";
  for (std::string entry; std::getline(environment, entry, '\0');)
    for (const auto& owner : owners)
      if (const std::string prefix = start + run_mark(owner, ""); entry.starts_with(prefix))
        return entry.substr(prefix.size());
  return {};
}

}  // namespace

const char* const RUN_VARIABLE = "POALOCATOR_RUN";

std::string run_mark(const std::string& owner, const std::string& process_name) {
  return owner + "/" + process_name;
}

std::map<std::string, ProcessIdentity> find_runs(const std::vector<std::string>& owners) {
  std::map<std::string, ProcessIdentity> result;
  if (owners.empty()) return result;
  std::error_code error;
  for (std::filesystem::directory_iterator entry("/proc", error), end; !error && entry != end; entry.increment(error)) {
    const std::string text = entry->path().filename();
    pid_t pid = 0;
    if (std::from_chars(text.data(), text.data() + text.size(), pid).ec != std::errc() || !led_by_itself(pid)) continue;
    // Before the environment, so that both are of one run or the run is seen to be over.
    const ProcessIdentity identity = ProcessInstance::identify(pid);
    const std::string name = process_name(pid, owners);
    if (name.empty()) continue;
    const auto [known, added] = result.emplace(name, identity);
    if (!added && identity.start_time < known->second.start_time) known->second = identity;
  }
  return result;
}

}  // namespace poalocd
