#include "daemon/daemon.h"

#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "daemon/command_line.h"
#include "daemon/configuration_error.h"
#include "daemon/exception_text.h"
#include "daemon/gathered_events.h"
#include "daemon/host.h"
#include "daemon/host_event.h"
#include "daemon/plugin_loader.h"
#include "daemon/stop_limit.h"

namespace poalocd {

namespace {

using Plugin = QZ_LocationPlugIn::OALocatorPlugIn;

void say(const std::string& text) {
  std::fprintf(stderr, "poalocd: %s\n", text.c_str());
}

void reopen_logs(EventLogImpl& log) {
  try {
    log.reopen();
    report(&log, LOGS_REOPENED_EVENT, {});
  } catch (const std::exception& e) {
    report(&log, LOG_REOPEN_FAILED_EVENT, {e.what()});
  }
}

void initialize(Host& host, Plugin& plugin) {
  const CORBA::String_var name = plugin.name();
  try {
    plugin.initialize(&host.service_control(), &host.locator(), host.parent_poa_nc(), host.session_manager_nc());
    plugin.validate_persistent_data();
  } catch (...) {
    throw PluginError("plug-in \"" + std::string(name.in()) + "\" could not be started: " + current_exception_text());
  }
}

void clean_up(Host& host, Plugin& plugin) {
  const CORBA::String_var name = plugin.name();
  try {
    plugin.cleanup();
  } catch (...) {
    report(&host.event_log(), PLUGIN_CLEANUP_FAILED_EVENT, {name.in(), current_exception_text()});
  }
}

// Plug-ins of a host, cleaned up in reverse order when it stops, whatever the reason.
class PluginsInUse {
 public:
  explicit PluginsInUse(Host& host) : m_host(host) {}
  ~PluginsInUse() {
    m_host.stop();
    for (auto plugin = m_plugins.rbegin(); plugin != m_plugins.rend(); ++plugin) clean_up(m_host, **plugin);
  }
  PluginsInUse(const PluginsInUse&) = delete;
  PluginsInUse& operator=(const PluginsInUse&) = delete;

  void load(const PluginSettings& settings) {
    for (auto* plugin : load_plugins(settings, &m_host.event_log())) {
      m_plugins.push_back(plugin);
      initialize(m_host, *plugin);
    }
  }

 private:
  Host& m_host;
  std::vector<Plugin*> m_plugins;
};

void serve(Host& host, SignalWatch& signals, StopLimit& stop_limit) {
  const auto& settings = host.configuration().settings();
  auto& log = host.event_log();
  host.service_control().status(QZ_AppServices::STATUS_WORKING);
  std::string stop_signal;
  {
    PluginsInUse plugins(host);
    {
      const GatheredEvents gathered(log);  // two of each POA in the store
      plugins.load(settings.plugins);
    }
    stop_signal = signals.stop_asked();
    if (stop_signal.empty()) {
      host.start();
      host.service_control().ready("Serving domain " + settings.domain + " at " + host.url());
      report(&log, DAEMON_READY_EVENT, {host.url()});
      stop_signal = signals.wait_for_stop();
    }
    stop_limit.begin(settings.stop_time_limit, RefCountHandle<EventLogImpl>::share(&log));
    report(&log, DAEMON_STOPPING_EVENT, {stop_signal});
    host.service_control().status(QZ_AppServices::STATUS_STOPPING);
  }
  report(&log, DAEMON_STOPPED_EVENT, {});
}

}  // namespace

int run_daemon(RefCountHandle<ConfigurationImpl> configuration, SignalWatch& signals) {
  try {
    StopLimit stop_limit;  // for the host's end too
    Host host(std::move(configuration));
    const auto log = RefCountHandle<EventLogImpl>::share(&host.event_log());
    signals.on_hangup([log] { reopen_logs(*log); });
    try {
      serve(host, signals, stop_limit);
    } catch (...) {
      report(&host.event_log(), DAEMON_START_FAILED_EVENT, {current_exception_text()});
      throw;
    }
    return EXIT_STOPPED;
  } catch (const ConfigurationError& e) {
    say(e.what());
    return EXIT_CONFIGURATION;
  } catch (...) {
    say(current_exception_text());
    return EXIT_START_FAILED;
  }
}

}  // namespace poalocd
