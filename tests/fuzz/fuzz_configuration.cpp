// The daemon's configuration: a document, and behind NULs further settings as the command line gives them.
#include <toml++/toml.h>

#include <cstdint>
#include <sstream>
#include <string>
#include <vector>

#include "daemon/configuration_error.h"
#include "daemon/configuration_impl.h"
#include "platform/base/ref_count_handle.h"
#include "tests/fuzz/check.h"

namespace {

using poalocd::ConfigurationImpl;
using Handle = RefCountHandle<ConfigurationImpl>;

// Null when it is refused.
Handle parse(const std::string& text, const std::vector<std::string>& assignments = {}) {
  try {
    return Handle(ConfigurationImpl::parse(text, "document", assignments));
  } catch (const poalocd::ConfigurationError& error) {
    FUZZ_CHECK(*error.what() != '\0');
    return {};
  }
}

// What the daemon relies on, whatever was written.
void check_settings(const poalocd::Settings& settings) {
  FUZZ_CHECK(!settings.domain.empty());
  const auto& door = settings.front_door;
  FUZZ_CHECK(!door.listeners.empty());
  for (const auto& listener : door.listeners) FUZZ_CHECK(!listener.host.empty());
  for (const auto& address : door.published) FUZZ_CHECK(!address.host.empty() && address.port != 0);
  for (const std::size_t limit :
       {door.max_connections, door.max_connections_per_address, door.max_header_size, door.max_key_size,
        door.max_requests_per_connection, door.max_incomplete_requests, door.max_output_size}) {
    FUZZ_CHECK(limit >= 1 && limit <= std::size_t{1} << 30);
  }
  for (const auto time : {door.idle_time, door.message_time, door.park_time, door.close_time, door.log_interval,
                          settings.orb_endpoint.probe_time_limit, settings.orb_endpoint.activate_time_limit,
                          settings.store.busy_timeout, settings.liveness.interval}) {
    FUZZ_CHECK(time.count() >= 0 && time <= std::chrono::hours(24));
  }
  FUZZ_CHECK(door.workers >= 1 && door.workers <= 1024 && door.threads <= 1024 && settings.liveness.failures >= 1);
  for (const auto& process : settings.processes) {
    FUZZ_CHECK(!process.name.empty() && !process.argv.empty() && !process.argv.front().empty());
  }
  for (const auto& orb : settings.orbs) FUZZ_CHECK(!orb.name.empty());
}

std::vector<std::string> split(const std::string& text) {
  std::vector<std::string> parts;
  std::istringstream in(text);
  for (std::string part; std::getline(in, part, '\0');) parts.push_back(part);
  return parts;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  auto parts = split({reinterpret_cast<const char*>(data), size});
  const std::string document = parts.empty() ? std::string() : parts.front();
  if (!parts.empty()) parts.erase(parts.begin());

  const Handle with_assignments = parse(document, parts);
  if (!with_assignments.is_null()) check_settings(with_assignments->settings());
  const Handle configuration = parse(document);
  if (configuration.is_null()) return 0;
  check_settings(configuration->settings());
  // Printed in its normal form it says the same.
  std::ostringstream printed;
  printed << toml::toml_formatter(toml::parse(document));
  const Handle again = parse(printed.str());
  FUZZ_CHECK(!again.is_null() && again->flat_values() == configuration->flat_values());
  return 0;
}
