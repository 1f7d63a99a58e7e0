#include "poa_locator/locator/poa_active_orb_mirror.h"

#include "platform/pss/transaction_guard.h"
#include "poa_locator/idl/poa_locator_store.h"
#include "poa_locator/locator/poa_active_orb_registry.h"
#include "poa_locator/plugin/poa_locator_impl.h"

using QZ_PoaLocatorStore::PoaActiveOrbDataRef;
using QZ_PoaLocatorStore::PoaActiveOrbHome;

namespace {

template <class Work>
void with_home(POALocatorImpl& locator, Work&& work) {
  QZ_PSS::in_transaction(locator.impl_tx_current_nc(), locator.impl_session_manager_nc(),
                         [&](QZ_PSS::TxSessionAssociation& association) {
                           auto* home = PoaActiveOrbHome::_narrow(
                               association.find_storage_home(locator.impl_poa_active_orb_registry().home_type_id()));
                           if (!home) throw CORBA::INTERNAL(0, CORBA::COMPLETED_NO);
                           work(*home);
                         });
}

}  // namespace

void PoaActiveOrbMirror::write(const char* process_name,
                               QZ_POA_PersistentServer::EndpointActivator_ptr endpoint_activator) {
  with_home(m_locator, [&](PoaActiveOrbHome& home) {
    try {
      const PoaActiveOrbDataRef data = PoaActiveOrbDataRef::narrow(home.find_by_name(m_orb_name.c_str()));
      data->process_name(process_name);
      data->endpoint_activator(endpoint_activator);
    } catch (const CosPersistentState::NotFound&) {
      home.create(m_orb_name.c_str(), process_name, QZ_PoaLocatorStore::EndpointIdList(), endpoint_activator);
    }
  });
}

void PoaActiveOrbMirror::destroy() {
  with_home(m_locator, [&](PoaActiveOrbHome& home) { home.find_by_name(m_orb_name.c_str())->destroy_object(); });
}
