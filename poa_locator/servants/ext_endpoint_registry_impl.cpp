#include "poa_locator/servants/ext_endpoint_registry_impl.h"

#include <cstring>

#include "platform/base/qz_octet_seq_hash.h"
#include "platform/base/ref_count_handle.h"
#include "platform/orb/vendor_policy.h"
#include "poa_locator/imr/endpoint_id_utils.h"
#include "poa_locator/imr/endpoint_registry.h"
#include "poa_locator/imr/poa_imr_impl.h"
#include "poa_locator/locator/active_endpoint_registry.h"
#include "poa_locator/locator/poa_active_orb_impl.h"
#include "poa_locator/locator/server_call.h"
#include "poa_locator/plugin/event_report.h"
#include "poa_locator/plugin/minor_codes.h"
#include "poa_locator/plugin/poa_loc_event_msg.h"
#include "poa_locator/plugin/poa_locator_impl.h"

using QZ_POA_PersistentServer::EndpointDynamicState_var;

// The arguments of one call of add, checked.
struct ExternalEndpointRegistryImpl::Registration {
  Registration(const char* server_orb, const CORBA::OctetSeq& endpoint_id, CORBA::Object_ptr server_prototype,
               QZ_POA_PersistentServer::EndpointDynamicState_ptr state)
      : orb_name(server_orb), id(endpoint_id), prototype(server_prototype), dynamic_state(state) {
    if (CORBA::is_nil(prototype) || CORBA::is_nil(dynamic_state))
      throw CORBA::BAD_PARAM(MINOR_NIL_REFERENCE, CORBA::COMPLETED_NO);
    if (*orb_name == '\0' || !names_a_poa()) throw CORBA::BAD_PARAM(MINOR_BAD_NAME, CORBA::COMPLETED_NO);
  }

  const char* const orb_name;
  const CORBA::OctetSeq& id;
  const CORBA::Object_ptr prototype;
  const QZ_POA_PersistentServer::EndpointDynamicState_ptr dynamic_state;

 private:
  // Octet for octet as this locator writes it: any other spelling would be a second POA of the same name. No POA of a
  // server has an empty name, and an administrator could not tell such names apart.
  bool names_a_poa() const {
    try {
      const QZ_POAIMRAdmin::FullyQualifiedName_var names = EndpointIdUtils::id_to_fqpn(id);
      for (CORBA::ULong i = 0; i < names->length(); ++i)
        if (*names.in()[i] == '\0') return false;
      const CORBA::OctetSeq_var canonical = EndpointIdUtils::id_from_fqpn(names);
      return names->length() != 0 && QZ_Cxx_OctetSeqEqual<CORBA::OctetSeq>()(canonical, id);
    } catch (const CORBA::INV_OBJREF&) {
      return false;
    }
  }
};

// The running endpoint that has the place of a registration; null when there is none.
struct ExternalEndpointRegistryImpl::Holder {
  ActiveEndpoint endpoint;
  bool answers = false;
};

ExternalEndpointRegistryImpl::ExternalEndpointRegistryImpl(POALocatorImpl& locator, PortableServer::POA_ptr parent,
                                                           ActiveEndpointRegistry& registry)
    : m_locator(locator),
      m_orb(locator._qz_get_orb()),
      m_active_endpoint_registry(registry),
      m_poa(m_orb, parent, "QZ_POA_PersistentServer::EndpointRegistry", this) {
  const CORBA::Object_var reference =
      m_poa.create_reference("EndpointRegistry", QZ_POA_PersistentServer::EndpointRegistry::_PD_repoId);
  m_locator.impl_locator_nc()->make_known(QZ_POA_PersistentServer::POA_REGISTRY, reference,
                                          QZ_LocatorInternal::ROLE_SERVER);
}

void ExternalEndpointRegistryImpl::add(const char* orb_name, const CORBA::OctetSeq& id, CORBA::Object_ptr prototype,
                                       QZ_POA_PersistentServer::EndpointDynamicState_ptr dynamic_state,
                                       CORBA::Object_out locator_reference, CORBA::ULong& creation_seq_nbr) {
  const Registration registration(orb_name, id, prototype, dynamic_state);
  // The server that holds the POA is asked without the mutex, so what it was asked about may have changed afterwards.
  for (int round = 0; round < 3; ++round) {
    const Holder holder = current_holder(id);
    QZ_MutexLock lock(m_locator.impl_mutex());
    CORBA::Object_var reference = add_locked(registration, holder, creation_seq_nbr);
    if (CORBA::is_nil(reference)) continue;
    report(m_locator.impl_event_log(), POALocEvent::ENDPOINT_REGISTERED, QZ_Logging::INFORMATION,
           ENDPOINT_REGISTERED_MSG, {EndpointIdUtils::id_to_fqpn_string(id).c_str()});
    locator_reference = reference._retn();
    return;
  }
  throw CORBA::TRANSIENT(MINOR_ENDPOINT_DESTROYED, CORBA::COMPLETED_NO);
}

ExternalEndpointRegistryImpl::Holder ExternalEndpointRegistryImpl::current_holder(const CORBA::OctetSeq& id) {
  const ActiveEndpoint endpoint = m_active_endpoint_registry.find(id);
  if (endpoint.is_null() || !endpoint.is_dynamic_state_set()) return {};
  return {endpoint, endpoint.server_answers(m_locator.impl_probe_time_limit())};
}

CORBA::Object_ptr ExternalEndpointRegistryImpl::add_locked(const Registration& registration, const Holder& holder,
                                                           CORBA::ULong& creation_seq_nbr) {
  ActiveEndpoint present = m_active_endpoint_registry.find(registration.id);
  if (!present.is_null() && present.is_dynamic_state_set()) {
    if (!present.same_as(holder.endpoint)) return CORBA::Object::_nil();
    const RefCountHandle<POAActiveORBImpl> orb(present.orb());
    const bool same_orb = orb.is_null() || std::strcmp(orb->impl_name(), registration.orb_name) == 0;
    // A server that crashed and is back before its end was noticed.
    if (!holder.answers && same_orb) {
      present.destroy();
      present = ActiveEndpoint();
    }
  }

  ActiveEndpoint endpoint = m_active_endpoint_registry.create(m_locator, registration.id, registration.orb_name);
  const bool created = !endpoint.same_as(present);
  try {
    const QZ_IOR::IOR_var ior = m_locator.impl_binding_manager_nc()->object_to_ior(registration.prototype);
    CORBA::Object_var locator_reference = locator_reference_of(registration.id);
    endpoint.set_dynamic_state(registration.dynamic_state, ior, [&] {
      Endpoint entry(m_locator.impl_poa_imr().impl_endpoint_registry(), registration.id);
      creation_seq_nbr = entry.creation_seq_nbr() + 1;
      entry.creation_seq_nbr(creation_seq_nbr);
    });
    return locator_reference._retn();
  } catch (const CORBA::OBJECT_NOT_EXIST& ex) {
    if (endpoint.has_ended()) return CORBA::Object::_nil();
    // Without its mirror or its entry it can never be registered, so those who wait for it would wait for ever.
    const auto is_lost = [&] {
      return ex.minor() == MINOR_NO_MIRROR ? endpoint.has_lost_mirror() : endpoint.endpoint().is_null();
    };
    if (created || is_lost()) endpoint.destroy();
    throw;
  } catch (...) {
    if (endpoint.has_ended()) return CORBA::Object::_nil();
    if (created) endpoint.destroy();
    throw;
  }
}

CORBA::Object_ptr ExternalEndpointRegistryImpl::locator_reference_of(const CORBA::OctetSeq& id) const {
  CORBA::Any scope;
  scope <<= QZ_PortableServer::LOCATOR_SCOPE;
  QZ_Binding::PolicyObjectList policies;
  policies.length(1);
  policies[0] = QZ_PortableServer::create_policy(m_orb, QZ_PortableServer::BINDING_SCOPE_POLICY_TYPE, scope);
  QZ_Binding::BindingManager_ptr binding_manager = m_locator.impl_binding_manager_nc();
  const QZ_Binding::EffectivePolicies_var effective = binding_manager->effective_policies(policies);
  const QZ_IOR::IOREndpoint_var ior_endpoint = binding_manager->endpoint(id, effective);
  const QZ_IOR::IOR_var ior = ior_endpoint->make_ior(CORBA::OctetSeq(), "");
  return binding_manager->ior_to_object(ior);
}

void ExternalEndpointRegistryImpl::remove(const char*, const CORBA::OctetSeq& id) {
  QZ_MutexLock lock(m_locator.impl_mutex());
  const QZ_String name = EndpointIdUtils::id_to_fqpn_string(id);
  // Whatever the caller's ORB name is: who knows the id may withdraw it.
  ActiveEndpoint endpoint = m_active_endpoint_registry.find(id);
  if (!endpoint.is_null()) endpoint.destroy();
  report(m_locator.impl_event_log(), POALocEvent::ENDPOINT_UNREGISTERED, QZ_Logging::INFORMATION,
         ENDPOINT_UNREGISTERED_MSG, {name.c_str()});
}
