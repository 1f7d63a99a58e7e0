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

// Empty when that process is of none of the runs.
std::string process_name(pid_t pid, const std::vector<std::string>& runs) {
  std::ifstream environment("/proc/" + std::to_string(pid) + "/environ");
  const std::string start = std::string(RUN_VARIABLE) + "=";
  for (std::string entry; std::getline(environment, entry, '\0');)
    for (const auto& run : runs)
      if (const std::string prefix = start + run_mark(run, ""); entry.starts_with(prefix))
        return entry.substr(prefix.size());
  return {};
}

}  // namespace

const char* const RUN_VARIABLE = "POALOCATOR_RUN";

std::string run_mark(const std::string& run, const std::string& process_name) {
  return run + "/" + process_name;
}

std::map<std::string, ProcessIdentity> find_runs(const std::vector<std::string>& runs) {
  std::map<std::string, ProcessIdentity> result;
  if (runs.empty()) return result;
  std::error_code error;
  for (std::filesystem::directory_iterator entry("/proc", error), end; !error && entry != end; entry.increment(error)) {
    const std::string text = entry->path().filename();
    pid_t pid = 0;
    if (std::from_chars(text.data(), text.data() + text.size(), pid).ec != std::errc() || !led_by_itself(pid)) continue;
    // Before the environment, so that both are of one run or the run is seen to be over.
    const ProcessIdentity identity = ProcessInstance::identify(pid);
    const std::string name = process_name(pid, runs);
    if (name.empty()) continue;
    const auto [known, added] = result.emplace(name, identity);
    if (!added && identity.start_time < known->second.start_time) known->second = identity;
  }
  return result;
}

}  // namespace poalocd
