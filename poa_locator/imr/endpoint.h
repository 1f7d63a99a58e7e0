// A handle on one entry of the repository of POAs: a naming level (transient) or a POA that belongs to a named server
// ORB (persistent). Handles are cheap to copy and hold no state of the entry: everything is read from the store and
// written to it, under the calling thread's transaction, or under one of its own when the thread has none.
//
// On an entry that does not exist any more, and on a null handle, operations raise OBJECT_NOT_EXIST; a store that
// fails raises PERSIST_STORE or TRANSIENT. Different handles may be used by different threads at the same time. A
// handle must not outlive its registry.
#pragma once

#include <poa_imr_admin.hh>

#include "platform/base/qz_body.h"
#include "platform/base/qz_handle.h"
#include "platform/base/qz_string.h"
#include "platform/base/qz_vector.h"
#include "platform/pss/transaction_guard.h"
#include "poa_locator/idl/poa_imr_store.h"

class EndpointRegistry;

class EndpointRep : public QZ_Body {
 public:
  EndpointRep(EndpointRegistry& registry, const CORBA::OctetSeq& id) : m_registry(registry), m_id(id) {}

  EndpointRegistry& registry() const { return m_registry; }
  const CORBA::OctetSeq& id() const { return m_id; }

 private:
  EndpointRegistry& m_registry;
  const CORBA::OctetSeq m_id;
};

class Endpoint : public QZ_Handle<EndpointRep> {
 public:
  Endpoint() = default;
  Endpoint(EndpointRegistry& registry, const CORBA::OctetSeq& id);
  Endpoint(EndpointRegistry& registry, const QZ_PoaImrStore::NamespaceData& data);

  // Lives as long as this handle or a copy of it.
  const CORBA::OctetSeq& id() const;
  // From the root down; the root's is empty. The caller deletes it.
  QZ_POAIMRAdmin::FullyQualifiedName* full_name() const;

  QZ_String name() const;
  bool persistent() const;
  bool allow_dynamic_registration() const;
  void allow_dynamic_registration(bool allow);
  QZ_String orb_name() const;
  // Null: the entry belongs to no ORB.
  void orb_name(const char* name);
  CORBA::ULong creation_seq_nbr() const;
  void creation_seq_nbr(CORBA::ULong number);

  // OBJECT_NOT_EXIST for the root.
  Endpoint parent() const;
  // In the order in which they were added.
  QZ_Vector<Endpoint> children() const;
  // Null when there is no such child.
  Endpoint lookup(const char* name) const;

  // QZ_POAIMRAdmin::POAAlreadyRegistered when there is a child of that name, INTERNAL when the store fails.
  Endpoint add(const char* name, bool persistent, bool allow_dynamic_registration, const char* orb_name,
               QZ_PSS::Durable durable = QZ_PSS::Durable::AT_ONCE) const;
  // The entry and all below it.
  void destroy();
  // The same without the registry's mutex.
  void destroy_persistent_data();

  // The administration object of this entry; nil for a null handle. The caller releases it.
  QZ_POAIMRAdmin::POA_ptr external_reference() const;

  // The following work within a caller's association; those that write need one in mode 1.
  QZ_PoaImrStore::NamespaceHome& impl_home(QZ_PSS::TxSessionAssociation& association) const;
  QZ_PoaImrStore::NamespaceDataRef impl_persistent_data(QZ_PSS::TxSessionAssociation& association) const;
  // Takes this entry out of its parent's children; nothing for the root.
  void impl_remove_from_parent(const QZ_PoaImrStore::NamespaceDataRef& data) const;
  // Removes the record of that identifier and all below it, deepest first. Parents' lists of children stay.
  static void impl_destroy(EndpointRegistry& registry, const CORBA::OctetSeq& id, QZ_PoaImrStore::NamespaceHome& home);

 private:
  // The body; OBJECT_NOT_EXIST for a null handle.
  EndpointRep& body() const;
  // work(record) under an association of its own.
  template <class Work>
  auto read(Work&& work) const;
  template <class Work>
  void write(Work&& work) const;
};
