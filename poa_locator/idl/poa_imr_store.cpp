#include "poa_locator/idl/poa_imr_store.h"

namespace QZ_PoaImrStore {

const QZ_PSS::StorageType& NamespaceData::storage_type() {
  static const QZ_PSS::StorageType type(
      "PSDL:QZ_PoaImrStore/NamespaceData:1.0", "NamespaceData", EP_ID,
      {EP_ID, NAME, PARENT, CHILDREN, ALLOW_DYNAMIC_REGISTRATION, PERSISTENT, CREATION_SEQ_NBR, ORB});
  return type;
}

NamespaceDataRef NamespaceHome::find_if_any(const CORBA::OctetSeq& ep_id) const {
  try {
    return find_by_ep_id(ep_id);
  } catch (const CosPersistentState::NotFound&) {
    return {};
  }
}

NamespaceDataRef NamespaceHome::create_transient(const CORBA::OctetSeq& ep_id, const char* name,
                                                 const NamespaceDataRef& parent, bool allow_dynamic_registration) {
  return create_object<Data>({{Data::EP_ID, ep_id},
                              {Data::NAME, name},
                              {Data::PARENT, parent},
                              {Data::ALLOW_DYNAMIC_REGISTRATION, CORBA::ULong{allow_dynamic_registration}}});
}

NamespaceDataRef NamespaceHome::create_persistent(const CORBA::OctetSeq& ep_id, const char* name,
                                                  const NamespaceDataRef& parent, bool allow_dynamic_registration,
                                                  const char* orb) {
  return create_object<Data>({{Data::EP_ID, ep_id},
                              {Data::NAME, name},
                              {Data::PARENT, parent},
                              {Data::ALLOW_DYNAMIC_REGISTRATION, CORBA::ULong{allow_dynamic_registration}},
                              {Data::PERSISTENT, true},
                              {Data::ORB, orb}});
}

}  // namespace QZ_PoaImrStore
