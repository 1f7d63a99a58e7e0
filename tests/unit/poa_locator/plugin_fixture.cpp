#include "tests/unit/poa_locator/plugin_fixture.h"

#include <algorithm>
#include <iterator>
#include <span>

#include "platform/base/qz_string.h"
#include "poa_locator/imr/endpoint_id_utils.h"
#include "tests/support/loopback.h"
#include "tests/unit/poa_locator/event_catalogue.h"

std::vector<support::Event> PluginEvents::events() const {
  auto all = m_log.events();
  all.erase(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(std::min(m_cleared, all.size())));
  std::erase_if(all, [](const support::Event& event) { return event.subsystem != support::PLUGIN; });
  return all;
}

std::vector<support::Event> PluginEvents::events(unsigned id) const {
  auto all = events();
  std::erase_if(all, [id](const support::Event& event) { return event.id != id; });
  return all;
}

PluginFixture::PluginFixture() : m_store_file(m_dir.file("state.db")), m_events(m_dir.file("events.json")) {
  m_config.set_domain(DOMAIN_NAME);
  m_config.set_text("store", "url", "sqlite://" + m_store_file);
  m_config.set("store", "busy_timeout", "0.5");
  m_config.set_text("event_log", "file", m_dir.file("events.json"));
  m_config.set_text("event_log", "format", "json");
  m_config.set_text("orb_endpoint", "listen", support::own_address() + ":2810");
}

PluginFixture::~PluginFixture() {
  stop();
  // Whatever a test is about, the plug-in reports nothing but its messages, each as operators know it.
  for (const support::Event& event : m_events.all()) {
    if (event.subsystem == support::PLUGIN) {
      expect_known(event);
    } else {
      EXPECT_THAT(event.subsystem, testing::AnyOf("QZ_HOST", "QZ_FRONT_DOOR")) << event.message;
    }
  }
}

void PluginFixture::configure_process(const std::string& name, const std::vector<std::string>& orb_names) {
  m_config.add_process({name, {"/bin/false"}, {}});
  for (const std::string& orb_name : orb_names) m_config.add_orb(orb_name, name);
}

void PluginFixture::start() {
  start_host();
  start_core();
  m_host->start();
}

void PluginFixture::start_host() {
  m_host.emplace(RefCountHandle(poalocd::ConfigurationImpl::parse(m_config.text(), "test")), poalocd::Host::Listen::NO);
  EndpointIdUtils::init(orb(), DOMAIN_NAME);
}

void PluginFixture::start_core() {
  m_core = RefCountHandle(
      new POALocatorImpl(&host().service_control(), &host().locator(), host().parent_poa_nc(), session_manager()));
}

void PluginFixture::stop() {
  if (!m_host) return;
  m_host->stop();
  if (!m_core.is_null()) m_core->impl_shutdown();
  m_core = {};
  m_host.reset();
  // Once in a process it would stay for good; the next host has its own.
  EndpointIdUtils::m_binding_manager = QZ_Binding::BindingManager::_nil();
}

CORBA::Object_ptr PluginFixture::known(const char* name, int role) {
  const QZ_String octets = name;
  const std::span key(reinterpret_cast<const unsigned char*>(octets.data()), octets.size());
  const QZ_IOR::IOR_var ior = host().binding_manager().find_name(key, std::span(&role, 1));
  return CORBA::is_nil(ior) ? CORBA::Object::_nil() : host().binding_manager().ior_to_object(ior);
}
