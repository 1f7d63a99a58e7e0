// The plug-in's core in a host of its own, in this process: real ORB, store, binding manager, repository and log, but
// no front door. Everything is the test's alone: a store in a new folder, a loopback address that no other test uses.
#pragma once

#include <gmock/gmock.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "daemon/host.h"
#include "platform/pss/transaction_guard.h"
#include "poa_locator/imr/endpoint_registry.h"
#include "poa_locator/imr/poa_imr_impl.h"
#include "poa_locator/plugin/poa_locator_impl.h"
#include "tests/support/event_log.h"
#include "tests/support/locator_config.h"
#include "tests/support/test_dir.h"
#include "tests/unit/poa_locator/imr_support.h"

// The plug-in's own events in the host's log, without those before the last clear().
class PluginEvents {
 public:
  explicit PluginEvents(std::string file) : m_log(std::move(file)) {}

  std::vector<support::Event> events() const;
  // In the order in which they were reported.
  std::vector<support::Event> events(unsigned id) const;
  // Those of the host as well, from the start.
  std::vector<support::Event> all() const { return m_log.events(); }
  void clear() { m_cleared = m_log.events().size(); }

 private:
  const support::EventLog m_log;
  std::size_t m_cleared = 0;
};

// Use: configure, start(), and stop() or nothing. A test that needs no core may use start_host() alone.
class PluginFixture : public testing::Test {
 protected:
  static constexpr const char* DOMAIN_NAME = "test";

  PluginFixture();
  ~PluginFixture() override;

  // The host's configuration file; read by start_host().
  support::LocatorConfig& config() { return m_config; }
  // A process that is never started, and ORBs that run in it.
  void configure_process(const std::string& name, const std::vector<std::string>& orb_names = {});

  // Host and core, serving. What the core's constructor raises passes through; there is no core then.
  void start();
  void start_host();
  void start_core();
  // Ends core and host in the daemon's order. The store stays, so start() restarts.
  void stop();

  poalocd::Host& host() { return *m_host; }
  CORBA::ORB_ptr orb() { return host().orb_nc(); }
  QZ_PSS::SessionManager_ptr session_manager() { return host().session_manager_nc(); }
  CosTransactions::Current_ptr transactions() { return host().tx_current_nc(); }
  // What the front door would answer to callers of that role; nil when nothing. The caller releases it.
  CORBA::Object_ptr known(const char* name, int role);

  POALocatorImpl& core() { return *m_core; }
  POAIMRImpl& poa_imr() { return core().impl_poa_imr(); }
  EndpointRegistry& registry() { return poa_imr().impl_endpoint_registry(); }

  PluginEvents& log() { return m_events; }
  const std::string& store_file() const { return m_store_file; }

 private:
  const support::TestDir m_dir;
  const std::string m_store_file;
  support::LocatorConfig m_config;
  PluginEvents m_events;
  std::optional<poalocd::Host> m_host;
  RefCountHandle<POALocatorImpl> m_core;
};
