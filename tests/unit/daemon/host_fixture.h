// A host without a front door, on a store and a log of its own.
#pragma once

#include <gmock/gmock.h>

#include <optional>
#include <string>
#include <vector>

#include "daemon/host.h"
#include "daemon/host_event.h"
#include "tests/support/event_log.h"
#include "tests/support/locator_config.h"
#include "tests/support/test_dir.h"
#include "tests/support/wait.h"

class HostFixture : public testing::Test {
 protected:
  support::LocatorConfig initial_config() const {
    support::LocatorConfig config;
    config.set_text("orb_endpoint", "listen", "127.0.0.1:0");
    config.set_text("store", "url", "sqlite://" + m_dir.file("state.db"));
    config.set_text("event_log", "file", m_dir.file("events.jsonl"));
    config.set_text("event_log", "format", "json");
    config.set("liveness", "interval", "0");
    return config;
  }

  // A process of one ORB of the same name; settings: further lines of its table.
  void add_process(const std::string& name, const std::vector<std::string>& argv,
                   std::vector<std::pair<std::string, std::string>> settings = {}) {
    m_config.add_process({name, argv, std::move(settings)});
    m_config.add_orb(name, name);
  }

  // A shell script as a process.
  void add_script(const std::string& name, const std::string& script,
                  std::vector<std::pair<std::string, std::string>> settings = {}) {
    add_process(name, {"/bin/sh", "-c", script}, std::move(settings));
  }

  // The host as plug-ins find it.
  poalocd::Host& open(poalocd::Host::Listen listen = poalocd::Host::Listen::NO) {
    using poalocd::ConfigurationImpl;
    const RefCountHandle<ConfigurationImpl> configuration(ConfigurationImpl::parse(m_config.text(), "test"));
    return m_host.emplace(configuration, listen);
  }
  poalocd::Host& open_and_start() {
    open().start();
    return host();
  }
  void close() { m_host.reset(); }

  poalocd::Host& host() { return *m_host; }
  poalocd::ActiveProcessRegistryImpl& processes() { return host().locator().active_processes(); }

  // As a plug-in gets it when one of the process's ORBs is needed (running: registers).
  QZ_LocatorInternal::ActiveProcess_var process(const std::string& name, bool running = false) {
    QZ_LocatorInternal::ActiveProcess_var found = processes().find(name.c_str());
    if (!CORBA::is_nil(found)) return found;
    const QZ_IMRInternal::Process_var entry = host().imr().processes().find(name.c_str());
    return processes().create(entry, running);
  }

  std::vector<support::Event> events(const poalocd::HostEvent& event) const {
    std::vector<support::Event> result;
    for (auto& e : m_log.events())
      if (e.subsystem == poalocd::HOST_SUBSYSTEM && e.id == event.id) result.push_back(std::move(e));
    return result;
  }
  bool wait_for(const poalocd::HostEvent& event, std::size_t times = 1) const {
    return support::wait_until([&] { return events(event).size() >= times; });
  }

  const support::TestDir m_dir;
  support::LocatorConfig m_config = initial_config();
  const support::EventLog m_log{m_dir.file("events.jsonl")};
  std::optional<poalocd::Host> m_host;
};
