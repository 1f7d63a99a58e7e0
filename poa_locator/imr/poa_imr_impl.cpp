#include "poa_locator/imr/poa_imr_impl.h"

#include "poa_locator/imr/endpoint_id_utils.h"
#include "poa_locator/imr/endpoint_registry.h"
#include "poa_locator/imr/repository_import.h"
#include "poa_locator/imr/repository_pages.h"
#include "poa_locator/plugin/gate_pass.h"
#include "poa_locator/plugin/minor_codes.h"
#include "poa_locator/plugin/poa_locator_impl.h"
#include "poa_locator/servants/ext_poa_impl.h"
#include "poa_locator/servants/ext_poa_registry_impl.h"

namespace {

constexpr CORBA::ULong MINOR_NO_DESTROY = 0x515A0C00;

// The host may still know the repository when the core ends. What it asks for then was not done, and may be asked again
// of the next core.
GatePass enter(const std::shared_ptr<Gate>& gate) {
  GatePass pass(gate);
  if (!pass) throw CORBA::TRANSIENT(MINOR_ENDPOINT_DESTROYED, CORBA::COMPLETED_NO);
  return pass;
}

}  // namespace

POAIMRImpl::POAIMRImpl(POALocatorImpl& locator, QZ_IMRInternal::OAIMRRegistry_ptr registry)
    : m_name("POAIMR"),
      m_gate(locator.impl_gate()),
      m_registry(QZ_IMRInternal::OAIMRRegistry::_duplicate(registry)),
      m_endpoint_registry(std::make_unique<EndpointRegistry>(locator)),
      m_ext_poa_registry(new ExternalPOARegistryImpl(locator, locator.impl_poa_nc(), *m_endpoint_registry)),
      m_ext_poa(new ExternalPOAImpl(locator.impl_poa_nc(), *m_endpoint_registry)) {
  m_endpoint_registry->serve_entries_in(impl_endpoint_poa_nc());
  if (!CORBA::is_nil(m_registry)) m_registry->register_imr(m_name.c_str(), this);
}

POAIMRImpl::~POAIMRImpl() {
  impl_close();
}

void POAIMRImpl::impl_close() noexcept {
  try {
    const QZ_IMRInternal::OAIMRRegistry_var registry = m_registry._retn();
    if (!CORBA::is_nil(registry)) registry->unregister_imr(m_name.c_str());
  } catch (const CORBA::Exception&) {
    // A host that has gone cannot call any more.
  }
  m_ext_poa.reset();
  m_ext_poa_registry.reset();
  m_endpoint_registry.reset();
}

char* POAIMRImpl::name() {
  return CORBA::string_dup(m_name.c_str());
}

void POAIMRImpl::orb_pre_destroy(QZ_IMRInternal::ORB_ptr orb, QZ_LocationCommon::DestroyType type) {
  const GatePass pass = enter(m_gate);
  switch (type) {
    case QZ_LocationCommon::DESTROY_NORMAL:
      impl_orb_pre_destroy(orb);
      break;
    case QZ_LocationCommon::DESTROY_FORCE:
      impl_orb_pre_force_destroy(orb);
      break;
    case QZ_LocationCommon::DESTROY_DEEP:
      impl_orb_pre_deep_destroy(orb);
      break;
    default:
      break;
  }
}

void POAIMRImpl::process_pre_destroy(QZ_IMRInternal::Process_ptr, QZ_LocationCommon::DestroyType) {}

void POAIMRImpl::destroy() {
  throw CORBA::NO_IMPLEMENT(MINOR_NO_DESTROY, CORBA::COMPLETED_NO);
}

CORBA::ULongLong POAIMRImpl::number_of_entries() {
  const GatePass pass = enter(m_gate);
  return repository_size(*m_endpoint_registry);
}

QZ_IMRAdmin::POAEntryList* POAIMRImpl::list(const char* from, CORBA::ULong how_many, CORBA::String_out next) {
  const GatePass pass = enter(m_gate);
  return repository_page(*m_endpoint_registry, from, how_many, next);
}

QZ_IMRInternal::ImportCounts POAIMRImpl::check(QZ_IMRInternal::POAEntrySource_ptr entries, QZ_IMRAdmin::ImportMode mode,
                                               QZ_IMRInternal::ImportListener_ptr listener) {
  const GatePass pass = enter(m_gate);
  return RepositoryImport(*m_endpoint_registry, mode, listener).run(entries, false);
}

QZ_IMRInternal::ImportCounts POAIMRImpl::write(QZ_IMRInternal::POAEntrySource_ptr entries, QZ_IMRAdmin::ImportMode mode,
                                               QZ_IMRInternal::ImportListener_ptr listener) {
  const GatePass pass = enter(m_gate);
  return RepositoryImport(*m_endpoint_registry, mode, listener).run(entries, true);
}

PortableServer::POA_ptr POAIMRImpl::impl_endpoint_poa_nc() {
  return m_ext_poa->impl_poa_nc();
}

void POAIMRImpl::impl_orb_pre_destroy(QZ_IMRInternal::ORB_ptr orb) {
  const CORBA::String_var orb_name = orb->name();
  const QZ_Vector<Endpoint> owned = m_endpoint_registry->list_in_orb(orb_name);
  if (owned.empty()) return;
  QZ_LocationCommon::HasReferences refusal;
  refusal.references.length(static_cast<CORBA::ULong>(owned.size()));
  for (CORBA::ULong i = 0; i < refusal.references.length(); ++i) {
    const QZ_POAIMRAdmin::FullyQualifiedName_var name = owned[i].full_name();
    refusal.references[i] = EndpointIdUtils::fqpn_to_string(name, '/').c_str();
  }
  throw refusal;
}

void POAIMRImpl::impl_orb_pre_force_destroy(QZ_IMRInternal::ORB_ptr orb) {
  const CORBA::String_var orb_name = orb->name();
  for (Endpoint& endpoint : m_endpoint_registry->list_in_orb(orb_name)) endpoint.orb_name(nullptr);
}

void POAIMRImpl::impl_orb_pre_deep_destroy(QZ_IMRInternal::ORB_ptr orb) {
  const CORBA::String_var orb_name = orb->name();
  m_endpoint_registry->orb_destroyed(orb_name);
}
