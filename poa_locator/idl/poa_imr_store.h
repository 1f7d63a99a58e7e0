// The repository of POAs in the store: one record for each POA name, the root's included.
//
// Records and homes belong to an association and are used by its thread only: see platform/pss/storage_object.h, also
// for what every access may raise.
#pragma once

#include <poa_persistent_server.hh>
#include <string>

#include "platform/pss/storage_home.h"
#include "platform/pss/storage_object.h"
#include "platform/pss/storage_ref.h"
#include "platform/pss/storage_type.h"

namespace QZ_PoaImrStore {

class NamespaceData;
using NamespaceDataRef = QZ_PSS::StorageRef<NamespaceData>;

class NamespaceData : public CosPersistentState::StorageObject {
 public:
  static constexpr QZ_PSS::Octets EP_ID{"ep_id"};
  static constexpr QZ_PSS::String NAME{"name"};
  static constexpr QZ_PSS::Reference<NamespaceData> PARENT{"parent"};
  static constexpr QZ_PSS::OctetsList<QZ_POA_PersistentServer::EndpointIdList> CHILDREN{"children"};
  // Declared with the type that stored data has had from the start; it holds 0 or 1.
  static constexpr QZ_PSS::ULong ALLOW_DYNAMIC_REGISTRATION{"allow_dynamic_registration"};
  static constexpr QZ_PSS::Boolean PERSISTENT{"persistent"};
  static constexpr QZ_PSS::ULong CREATION_SEQ_NBR{"creation_seq_nbr"};
  static constexpr QZ_PSS::String ORB{"orb"};

  static const QZ_PSS::StorageType& storage_type();

  // The key.
  CORBA::OctetSeq ep_id() const { return get(EP_ID); }

  // The POA's own name, the last of its full name; empty for the root.
  std::string name() const { return get(NAME); }

  // Nil for the root.
  NamespaceDataRef parent() const { return get(PARENT); }

  // The direct children, in the order in which they were added.
  QZ_POA_PersistentServer::EndpointIdList children() const { return get(CHILDREN); }
  void append_child(const CORBA::OctetSeq& id) { append(CHILDREN, id); }
  // False when there is no such child.
  bool remove_child(const CORBA::OctetSeq& id) { return remove(CHILDREN, id); }

  // Whether children may be created on demand.
  bool allow_dynamic_registration() const { return get(ALLOW_DYNAMIC_REGISTRATION) != 0; }
  void allow_dynamic_registration(bool value) { set(ALLOW_DYNAMIC_REGISTRATION, CORBA::ULong{value}); }

  bool persistent() const { return get(PERSISTENT); }

  CORBA::ULong creation_seq_nbr() const { return get(CREATION_SEQ_NBR); }
  void creation_seq_nbr(CORBA::ULong value) { set(CREATION_SEQ_NBR, value); }

  // Name of the server ORB; empty when there is none.
  std::string orb() const { return get(ORB); }
  void orb(const char* value) { set(ORB, value); }
};

class NamespaceHome : public CosPersistentState::StorageHomeBase {
 public:
  using Data = NamespaceData;
  static constexpr const char* CONFIGURATION_KEY = "plugins:locator:namespace_home_type_id";
  static constexpr const char* DEFAULT_TYPE_ID = "PSDL:QZ_PoaImrStoreImpl/NamespaceHomeImpl:1.0";

  static NamespaceHome* _narrow(StorageHomeBase* home) { return dynamic_cast<NamespaceHome*>(home); }

  // CosPersistentState::NotFound when there is none.
  NamespaceDataRef find_by_ep_id(const CORBA::OctetSeq& ep_id) const { return find<NamespaceData>(ep_id); }
  // Nil when there is none.
  NamespaceDataRef find_if_any(const CORBA::OctetSeq& ep_id) const;

  // PERSIST_STORE with MINOR_ALREADY_EXISTS when there is a record with that identifier.
  NamespaceDataRef create_transient(const CORBA::OctetSeq& ep_id, const char* name, const NamespaceDataRef& parent,
                                    bool allow_dynamic_registration);
  NamespaceDataRef create_persistent(const CORBA::OctetSeq& ep_id, const char* name, const NamespaceDataRef& parent,
                                     bool allow_dynamic_registration, const char* orb);
};

}  // namespace QZ_PoaImrStore
