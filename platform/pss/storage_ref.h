// A counted reference to a storage object; nil when it refers to none.
#pragma once

#include <omniORB4/CORBA.h>

#include <concepts>

#include "platform/base/qz_handle.h"
#include "platform/pss/result_set.h"
#include "platform/pss/session.h"
#include "platform/pss/storage_object.h"
#include "platform/pss/tx_session_association.h"

namespace QZ_PSS {

// T: the accessor class. Copies share the object. Having a reference says nothing about the record's existence:
// see StorageObject. Used by one thread.
template <class T>
class StorageRef {
 public:
  StorageRef() = default;
  explicit StorageRef(T* object) : m_object(object) {}
  // A reference to a derived type is one to its base as well.
  template <class Derived>
    requires std::derived_from<Derived, T>
  StorageRef(const StorageRef<Derived>& other) : m_object(other.get()) {}

  // To a derived type: nil when the record is not of that type, or other is nil.
  template <class Base>
  static StorageRef narrow(const StorageRef<Base>& other) {
    return StorageRef(dynamic_cast<T*>(other.get()));
  }

  // The record that a query's row refers to. BAD_PARAM with MINOR_BAD_REFERENCE when the any holds no
  // StorageObjectReference, or one to a record of another type. Reads nothing from the store.
  static StorageRef from_any(const CORBA::Any& value, TxSessionAssociation& association) {
    return checked(association.session().resolve(value));
  }
  // The record of the result set's current row, as it was read with the row. BAD_PARAM with MINOR_BAD_REFERENCE when it
  // is of another type.
  static StorageRef from_row(const ResultSet& rows) { return checked(rows.record()); }
  static StorageRef from_reference(const StorageObjectReference& value, TxSessionAssociation& association) {
    return checked(association.session().resolve(value));
  }

  bool is_nil() const { return m_object.is_null(); }
  // Both raise OBJECT_NOT_EXIST when nil.
  T* operator->() const { return &deref(); }
  T& deref() const {
    if (is_nil()) throw CORBA::OBJECT_NOT_EXIST(MINOR_RECORD_GONE, CORBA::COMPLETED_NO);
    return *m_object;
  }
  // Null when nil.
  T* get() const { return m_object.operator->(); }

  StorageObjectReference to_reference() const { return deref().to_reference(); }

  // For objects of the store: nil stays nil, another type than T is MINOR_BAD_REFERENCE.
  static StorageRef checked(const QZ_Handle<CosPersistentState::StorageObject>& object) {
    if (object.is_null()) return StorageRef();
    auto* narrowed = dynamic_cast<T*>(object.operator->());
    if (!narrowed) throw CORBA::BAD_PARAM(MINOR_BAD_REFERENCE, CORBA::COMPLETED_NO);
    return StorageRef(narrowed);
  }

 private:
  QZ_Handle<T> m_object;
};

}  // namespace QZ_PSS
