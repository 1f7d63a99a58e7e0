#include "daemon/settings_reader.h"

#include <qz_logging.hh>
#include <set>

#include "daemon/configuration_error.h"
#include "daemon/listener_reader.h"
#include "daemon/table_reader.h"

namespace poalocd {

namespace {

constexpr double A_DAY = 86'400;

using Problems = std::vector<std::string>;

QZ_Binding::FrontDoorConfig read_front_door(TableReader table, Problems& problems) {
  QZ_Binding::FrontDoorConfig result;
  result.listeners = read_front_door_listeners(table, problems);
  for (const auto& address : table.text_list("published", {})) {
    if (const auto wrong = address_problem(address); !wrong.empty())
      table.problem(nullptr, "published", "\"" + address + "\" " + wrong);
    else if (const auto split = split_address(address); split.port == 0)
      table.problem(nullptr, "published", "\"" + address + "\" must have a port other than 0");
    else
      result.published.push_back(split);
  }
  result.threads = static_cast<unsigned>(table.integer("threads", result.threads, 0, 1024));
  result.workers = static_cast<unsigned>(table.integer("worker_threads", result.workers, 1, 1024));
  const auto size = [&](const char* key, std::size_t& value, long long minimum, long long maximum) {
    value = static_cast<std::size_t>(table.integer(key, static_cast<long long>(value), minimum, maximum));
  };
  size("max_connections", result.max_connections, 1, 1'000'000);
  size("max_connections_per_address", result.max_connections_per_address, 1, 1'000'000);
  size("max_header_size", result.max_header_size, 256, 16 * 1024 * 1024);
  size("max_key_size", result.max_key_size, 64, 16 * 1024 * 1024);
  size("max_requests_per_connection", result.max_requests_per_connection, 1, 1'000'000);
  size("max_incomplete_requests", result.max_incomplete_requests, 1, 100'000);
  size("max_output_size", result.max_output_size, 4096, 1024 * 1024 * 1024);
  const auto time = [&](const char* key, std::chrono::milliseconds& value, double minimum) {
    value = table.seconds(key, static_cast<double>(value.count()) / 1000, minimum, A_DAY);
  };
  time("idle_time", result.idle_time, 0);
  time("message_time", result.message_time, 0);
  time("park_time", result.park_time, 0);
  time("close_time", result.close_time, 0.001);
  time("log_interval", result.log_interval, 0);
  table.finish();
  return result;
}

OrbEndpointSettings read_orb_endpoint(TableReader table, Problems& problems) {
  OrbEndpointSettings result;
  result.listeners = read_orb_listeners(table, problems);
  result.probe_time_limit = table.seconds("probe_time_limit", 2, 0.001, A_DAY);
  result.activate_time_limit = table.seconds("activate_time_limit", 30, 0.001, A_DAY);
  table.finish();
  return result;
}

StoreSettings read_store(TableReader table) {
  StoreSettings result;
  result.url = table.text("url", "sqlite:///var/lib/poalocator/state.db");
  result.busy_timeout = table.seconds("busy_timeout", 5, 0, 3600);
  table.finish();
  return result;
}

EventLogSettings read_event_log(TableReader table) {
  EventLogSettings result;
  result.file = table.text("file", "");
  result.json = table.choice("format", {"text", "json"}, "text") == "json";
  const auto priority = table.choice("min_priority", {"information", "warning", "error"}, "information");
  result.min_priority = priority == "error"     ? QZ_Logging::ERROR_PRIORITY
                        : priority == "warning" ? QZ_Logging::WARNING
                                                : QZ_Logging::INFORMATION;
  table.finish();
  return result;
}

LivenessSettings read_liveness(TableReader table) {
  LivenessSettings result;
  result.interval = table.seconds("interval", 10, 0, A_DAY);
  result.failures = static_cast<unsigned>(table.integer("failures", 3, 1, 1000));
  table.finish();
  return result;
}

// A plug-in's own scope: whatever it holds is for the plug-in to judge.
void flatten(const toml::table& table, const std::string& scope, FlatValues& flat) {
  for (const auto& [name, value] : table) {
    const std::string key = scope + ":" + std::string(name.str());
    if (const auto* sub = value.as_table())
      flatten(*sub, key, flat);
    else if (const auto* text = value.as_string())
      flat.insert_or_assign(key, text->get());
    else if (const auto* integer = value.as_integer())
      flat.insert_or_assign(key, static_cast<long long>(integer->get()));
    else if (const auto* boolean = value.as_boolean())
      flat.insert_or_assign(key, boolean->get());
    else
      flat.insert_or_assign(key, std::monostate());
  }
}

PluginSettings read_plugins(const toml::table* document, Problems& problems, FlatValues& flat) {
  TableReader table(document, "plugins", problems, &flat);
  PluginSettings result;
  result.directory = table.text("directory", "");
  result.libraries = table.text_list("libraries", {"libqz_poa_location_loc.so.3"});
  if (document) {
    for (const auto& [name, value] : *document)
      if (const auto* scope = value.as_table(); scope && name.str() != "directory" && name.str() != "libraries")
        flatten(*table.table(name.str()), "plugins:" + std::string(name.str()), flat);
  }
  table.finish();
  return result;
}

std::vector<ProcessSettings> read_processes(TableReader& root, Problems& problems) {
  std::vector<ProcessSettings> result;
  std::set<std::string> names;
  for (const auto* element : root.tables("process")) {
    TableReader table(element, "process", problems, nullptr);
    ProcessSettings process;
    process.name = table.required_text("name");
    process.argv = table.text_list("argv", {});
    if (process.argv.empty() || process.argv.front().empty())
      table.problem(element->get("argv"), "argv", "needs at least the program to run");
    process.working_directory = table.text("working_directory", "");
    process.environment = table.text_table("environment");
    process.user = table.text("user", "");
    process.startup_time_limit = table.seconds("startup_time_limit", 0, 0, A_DAY);
    process.stop_grace = table.seconds("stop_grace", 10, 0.001, A_DAY);
    process.log_file = table.text("log_file", "");
    table.finish();
    if (!process.name.empty() && !names.insert(process.name).second)
      table.problem(element->get("name"), "name", "there are two processes named \"" + process.name + "\"");
    result.push_back(std::move(process));
  }
  return result;
}

std::vector<OrbSettings> read_orbs(TableReader& root, Problems& problems) {
  std::vector<OrbSettings> result;
  std::set<std::string> names;
  for (const auto* element : root.tables("orb")) {
    TableReader table(element, "orb", problems, nullptr);
    OrbSettings orb;
    orb.name = table.required_text("name");
    orb.process = table.text("process", "");
    table.finish();
    if (!orb.name.empty() && !names.insert(orb.name).second)
      table.problem(element->get("name"), "name", "there are two ORBs named \"" + orb.name + "\"");
    result.push_back(std::move(orb));
  }
  return result;
}

}  // namespace

Settings read_settings(const toml::table& document, FlatValues& flat) {
  Problems problems;
  TableReader root(&document, "", problems, nullptr);
  const auto section = [&](const char* name) { return TableReader(root.table(name), name, problems, &flat); };

  Settings result;
  auto locator = section("locator");
  result.domain = locator.text("domain", "poalocator");
  if (result.domain.empty()) locator.problem(nullptr, "domain", "must not be empty");
  result.stop_time_limit = locator.seconds("stop_time_limit", 5, 0.001, A_DAY);
  locator.finish();
  result.front_door = read_front_door(section("front_door"), problems);
  result.orb_endpoint = read_orb_endpoint(section("orb_endpoint"), problems);
  result.store = read_store(section("store"));
  result.event_log = read_event_log(section("event_log"));
  result.liveness = read_liveness(section("liveness"));
  result.plugins = read_plugins(root.table("plugins"), problems, flat);
  result.processes = read_processes(root, problems);
  result.orbs = read_orbs(root, problems);
  root.finish();

  if (problems.empty()) return result;
  std::string all;
  for (const auto& problem : problems) all += (all.empty() ? "" : "\n") + problem;
  throw ConfigurationError(all);
}

}  // namespace poalocd
