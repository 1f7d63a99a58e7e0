#include "poa_locator/locator/active_endpoint_mirror.h"

#include "platform/pss/transaction_guard.h"
#include "poa_locator/idl/poa_locator_store.h"
#include "poa_locator/locator/active_endpoint_registry.h"
#include "poa_locator/plugin/poa_locator_impl.h"

using QZ_POA_PersistentServer::EndpointDynamicState;
using QZ_PoaLocatorStore::ActiveEndpointHome;

namespace {

template <class Work>
auto with_home(POALocatorImpl& locator, Work&& work, QZ_PSS::Durable durable = QZ_PSS::Durable::AT_ONCE) {
  return QZ_PSS::in_transaction(
      locator.impl_tx_current_nc(), locator.impl_session_manager_nc(),
      [&](QZ_PSS::TxSessionAssociation& association) {
        auto* home = ActiveEndpointHome::_narrow(
            association.find_storage_home(locator.impl_active_endpoint_registry().home_type_id()));
        if (!home) throw CORBA::INTERNAL(0, CORBA::COMPLETED_NO);
        return work(*home);
      },
      durable);
}

}  // namespace

bool ActiveEndpointMirror::create(const char* orb_name) {
  const auto work = [&](ActiveEndpointHome& home) {
    try {
      home.create(m_id, orb_name, EndpointDynamicState::_nil(), CORBA::Object::_nil());
      return true;
    } catch (const CORBA::PERSIST_STORE& ex) {
      if (!QZ_PSS::is_already_exists(ex)) throw;
    }
    // Left by an endpoint whose record could not be removed, so it tells of another ORB perhaps.
    home.find_by_id(m_id)->destroy_object();
    home.create(m_id, orb_name, EndpointDynamicState::_nil(), CORBA::Object::_nil());
    return false;
  };
  return with_home(m_locator, work, QZ_PSS::Durable::WITH_NEXT);
}

void ActiveEndpointMirror::update(QZ_POA_PersistentServer::EndpointDynamicState_ptr dynamic_state,
                                  CORBA::Object_ptr prototype) {
  with_home(m_locator, [&](ActiveEndpointHome& home) {
    const QZ_PoaLocatorStore::ActiveEndpointDataRef data = home.find_by_id(m_id);
    data->proto_direct_ior(prototype);
    data->remote_endpoint(dynamic_state);
  });
}

bool ActiveEndpointMirror::is_missing() {
  try {
    with_home(m_locator, [&](ActiveEndpointHome& home) { home.find_by_id(m_id); });
    return false;
  } catch (const CosPersistentState::NotFound&) {
    return true;
  } catch (const CORBA::Exception&) {
    return false;  // a store that fails tells nothing
  }
}

void ActiveEndpointMirror::destroy() {
  with_home(m_locator, [&](ActiveEndpointHome& home) { home.find_by_id(m_id)->destroy_object(); });
}

QZ_Vector<bool> ActiveEndpointMirror::destroy_all(POALocatorImpl& locator, const QZ_Vector<CORBA::OctetSeq>& ids) {
  return with_home(locator, [&](ActiveEndpointHome& home) {
    QZ_Vector<bool> found;
    for (const CORBA::OctetSeq& id : ids) {
      try {
        home.find_by_id(id)->destroy_object();
        found.push_back(true);
      } catch (const CosPersistentState::NotFound&) {
        found.push_back(false);
      }
    }
    return found;
  });
}
