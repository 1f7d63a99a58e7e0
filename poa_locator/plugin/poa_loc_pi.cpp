#include "poa_locator/plugin/poa_loc_pi.h"

#include "platform/base/plugin_manager.h"
#include "platform/orb/ref_counted_local_object.h"
#include "poa_locator/imr/endpoint_id_utils.h"
#include "poa_locator/plugin/poa_locator_impl.h"

namespace {

constexpr CORBA::Long OA_LOCATOR_PLUGIN = 1;

}  // namespace

QZ_POALocPlugIn::QZ_POALocPlugIn() : m_name("poa_locator") {
  const QZ_PlugIn::PlugInManager_var manager = QZ_PlugIn::plugin_manager();
  manager->register_plugin(this);
}

QZ_POALocPlugIn::~QZ_POALocPlugIn() {
  const QZ_PlugIn::PlugInManager_var manager = QZ_PlugIn::plugin_manager();
  manager->unregister_plugin(m_name.c_str());
}

CORBA::Long QZ_POALocPlugIn::type() {
  return OA_LOCATOR_PLUGIN;
}

char* QZ_POALocPlugIn::name() {
  return CORBA::string_dup(m_name.c_str());
}

void QZ_POALocPlugIn::report_status(CORBA::Long code) {
  if (!CORBA::is_nil(m_service_control_manager)) m_service_control_manager->status(code);
}

void QZ_POALocPlugIn::initialize(QZ_AppServices::ServiceControlManager_ptr service_control_manager,
                                 QZ_LocatorInternal::Locator_ptr locator, PortableServer::POA_ptr parent_poa,
                                 QZ_PSS::SessionManager_ptr session_manager) {
  if (m_locator_impl) throw CORBA::BAD_INV_ORDER(0, CORBA::COMPLETED_NO);
  m_service_control_manager = QZ_AppServices::ServiceControlManager::_duplicate(service_control_manager);
  report_status(QZ_AppServices::STATUS_WORKING);
  // Before the core, whose constructor loads what the store has under endpoint ids.
  const CORBA::ORB_var orb = QZ_CORBA::orb_of(locator);
  const CORBA::String_var domain_name = locator->domain_name();
  EndpointIdUtils::init(orb, domain_name);
  m_locator_impl = std::make_unique<POALocatorImpl>(service_control_manager, locator, parent_poa, session_manager);
}

void QZ_POALocPlugIn::validate_persistent_data() {
  report_status(QZ_AppServices::STATUS_WORKING);
  if (!m_locator_impl) throw CORBA::BAD_INV_ORDER(0, CORBA::COMPLETED_NO);
  m_locator_impl->impl_validate_persistent_data();
}

void QZ_POALocPlugIn::cleanup() {
  report_status(QZ_AppServices::STATUS_STOPPING);
  if (!m_locator_impl) return;
  const std::unique_ptr<POALocatorImpl> core = std::move(m_locator_impl);
  core->impl_shutdown();
}

namespace {

QZ_POALocPlugIn plug_in;

}  // namespace
