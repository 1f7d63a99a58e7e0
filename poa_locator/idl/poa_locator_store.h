// What runs, as the store keeps it for the next start: active POAs, and the extension of the host's record of a running
// ORB.
//
// Records and homes belong to an association and are used by its thread only: see platform/pss/storage_object.h, also
// for what every access may raise.
#pragma once

#include <poa_locator_store.hh>
#include <poa_persistent_server.hh>
#include <string>

#include "platform/pss/active_orb_data.h"
#include "platform/pss/storage_home.h"
#include "platform/pss/storage_object.h"
#include "platform/pss/storage_ref.h"
#include "platform/pss/storage_type.h"

namespace QZ_PoaLocatorStore {

class PoaActiveOrbData;
using PoaActiveOrbDataRef = QZ_PSS::StorageRef<PoaActiveOrbData>;

class PoaActiveOrbData : public QZ_LocatorStore::ActiveOrbData {
 public:
  static constexpr QZ_PSS::OctetsList<EndpointIdList> ENDPOINTS{"endpoints"};
  static constexpr QZ_PSS::ObjectReference<QZ_POA_PersistentServer::EndpointActivator> ENDPOINT_ACTIVATOR{
      "endpoint_activator"};

  static const QZ_PSS::StorageType& storage_type();

  // The POAs that are active in this ORB.
  EndpointIdList endpoints() const { return get(ENDPOINTS); }
  void endpoints(const EndpointIdList& value) { set(ENDPOINTS, value); }
  void append_endpoint(const CORBA::OctetSeq& id) { append(ENDPOINTS, id); }
  // False when there is no such POA.
  bool remove_endpoint(const CORBA::OctetSeq& id) { return remove(ENDPOINTS, id); }

  // Nil when the ORB has registered none. The caller releases it.
  QZ_POA_PersistentServer::EndpointActivator_ptr endpoint_activator() const { return get(ENDPOINT_ACTIVATOR); }
  void endpoint_activator(QZ_POA_PersistentServer::EndpointActivator_ptr value) { set(ENDPOINT_ACTIVATOR, value); }
};

class PoaActiveOrbHome : public QZ_LocatorStore::ActiveOrbHome {
 public:
  using Data = PoaActiveOrbData;
  static constexpr const char* CONFIGURATION_KEY = "plugins:locator:active_orb_home_type_id";
  static constexpr const char* DEFAULT_TYPE_ID = "PSDL:QZ_PoaLocatorStoreImpl/PoaActiveOrbHomeImpl:1.0";

  static PoaActiveOrbHome* _narrow(StorageHomeBase* home) { return dynamic_cast<PoaActiveOrbHome*>(home); }

  // process: "" when the ORB has none. PERSIST_STORE with MINOR_ALREADY_EXISTS when there is a record of that name.
  PoaActiveOrbDataRef create(const char* name, const char* process, const EndpointIdList& endpoints,
                             QZ_POA_PersistentServer::EndpointActivator_ptr endpoint_activator);
};

class ActiveEndpointData;
using ActiveEndpointDataRef = QZ_PSS::StorageRef<ActiveEndpointData>;

class ActiveEndpointData : public CosPersistentState::StorageObject {
 public:
  static constexpr QZ_PSS::Octets ID{"id"};
  static constexpr QZ_PSS::String ORB{"orb"};
  static constexpr QZ_PSS::ObjectReference<QZ_POA_PersistentServer::EndpointDynamicState> REMOTE_ENDPOINT{
      "remote_endpoint"};
  static constexpr QZ_PSS::ObjectReference<QZ_POA_PersistentServer::PrototypeIOR> PROTO_DIRECT_IOR{"proto_direct_ior"};

  static const QZ_PSS::StorageType& storage_type();

  // The key.
  CORBA::OctetSeq id() const { return get(ID); }

  // Name of the ORB in which the POA is active.
  std::string orb() const { return get(ORB); }

  // What the server registered; nil while the POA is not running.
  QZ_CORBA::PackedReference remote_endpoint() const { return get_packed(REMOTE_ENDPOINT); }
  void remote_endpoint(QZ_POA_PersistentServer::EndpointDynamicState_ptr value) { set(REMOTE_ENDPOINT, value); }

  // The server's reference of the POA with an empty object id; nil like the above.
  QZ_CORBA::PackedReference proto_direct_ior() const { return get_packed(PROTO_DIRECT_IOR); }
  void proto_direct_ior(CORBA::Object_ptr value) { set(PROTO_DIRECT_IOR, value); }
};

class ActiveEndpointHome : public CosPersistentState::StorageHomeBase {
 public:
  using Data = ActiveEndpointData;
  static constexpr const char* CONFIGURATION_KEY = "plugins:locator:active_endpoint_home_type_id";
  static constexpr const char* DEFAULT_TYPE_ID = "PSDL:QZ_PoaLocatorStoreImpl/ActiveEndpointHomeImpl:1.0";

  static ActiveEndpointHome* _narrow(StorageHomeBase* home) { return dynamic_cast<ActiveEndpointHome*>(home); }

  // CosPersistentState::NotFound when there is none.
  ActiveEndpointDataRef find_by_id(const CORBA::OctetSeq& id) const { return find<ActiveEndpointData>(id); }

  // PERSIST_STORE with MINOR_ALREADY_EXISTS when there is a record with that identifier.
  ActiveEndpointDataRef create(const CORBA::OctetSeq& id, const char* orb,
                               QZ_POA_PersistentServer::EndpointDynamicState_ptr remote_endpoint,
                               CORBA::Object_ptr proto_direct_ior);
};

}  // namespace QZ_PoaLocatorStore
