#include "poa_locator/idl/poa_locator_store.h"

namespace QZ_PoaLocatorStore {

const QZ_PSS::StorageType& PoaActiveOrbData::storage_type() {
  static const QZ_PSS::StorageType type("PSDL:QZ_PoaLocatorStore/PoaActiveOrbData:1.0", "PoaActiveOrbData",
                                        QZ_LocatorStore::ActiveOrbData::storage_type(),
                                        {ENDPOINTS, ENDPOINT_ACTIVATOR});
  return type;
}

PoaActiveOrbDataRef PoaActiveOrbHome::create(const char* name, const char* process, const EndpointIdList& endpoints,
                                             QZ_POA_PersistentServer::EndpointActivator_ptr endpoint_activator) {
  return create_object<Data>({{Data::NAME, name},
                              {Data::PROCESS_NAME, process},
                              {Data::ENDPOINTS, endpoints},
                              {Data::ENDPOINT_ACTIVATOR, endpoint_activator}});
}

const QZ_PSS::StorageType& ActiveEndpointData::storage_type() {
  static const QZ_PSS::StorageType type("PSDL:QZ_PoaLocatorStore/ActiveEndpointData:1.0", "ActiveEndpointData", ID,
                                        {ID, ORB, REMOTE_ENDPOINT, PROTO_DIRECT_IOR});
  return type;
}

ActiveEndpointDataRef ActiveEndpointHome::create(const CORBA::OctetSeq& id, const char* orb,
                                                 QZ_POA_PersistentServer::EndpointDynamicState_ptr remote_endpoint,
                                                 CORBA::Object_ptr proto_direct_ior) {
  return create_object<Data>({{Data::ID, id},
                              {Data::ORB, orb},
                              {Data::REMOTE_ENDPOINT, remote_endpoint},
                              {Data::PROTO_DIRECT_IOR, proto_direct_ior}});
}

}  // namespace QZ_PoaLocatorStore
