// Base of the home classes of storage types. A derived class adds typed operations:
//
//   class NamespaceHome : public CosPersistentState::StorageHomeBase {
//    public:
//     using Data = NamespaceData;
//     static NamespaceHome* _narrow(StorageHomeBase* home) { return dynamic_cast<NamespaceHome*>(home); }
//     NamespaceDataRef find_by_ep_id(const CORBA::OctetSeq& ep_id) { return find<NamespaceData>(ep_id); }
//     NamespaceDataRef create(const CORBA::OctetSeq& ep_id, const char* name, const NamespaceDataRef& parent) {
//       return create_object<NamespaceData>(
//           {{NamespaceData::EP_ID, ep_id}, {NamespaceData::NAME, name}, {NamespaceData::PARENT, parent}});
//     }
//   };
#pragma once

#include <omniORB4/CORBA.h>

#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

#include "platform/base/qz_body.h"
#include "platform/pss/storage_ref.h"
#include "platform/pss/storage_type.h"

namespace CosPersistentState {

// A home as one association sees it. It belongs to that association's session; a QZ_Handle keeps it longer, but
// its operations raise BAD_INV_ORDER once the association (in a transaction: the transaction) has ended.
class StorageHomeBase : public QZ_Body {
 public:
  const char* home_type_id() const;
  // That of the records, as the home was registered.
  const QZ_PSS::StorageType& storage_type() const;
  unsigned long long number_of_records() const;

 protected:
  StorageHomeBase() = default;
  ~StorageHomeBase() override = default;

  // A member and its initial value.
  class Initial {
   public:
    Initial(const QZ_PSS::Octets& m, const CORBA::OctetSeq& v) : member(m), field{QZ_PSS::to_hex(v), 0} {}
    Initial(const QZ_PSS::String& m, const char* v) : member(m), field{v ? v : "", 0} {}
    Initial(const QZ_PSS::String& m, const std::string& v) : member(m), field{v, 0} {}
    Initial(const QZ_PSS::Boolean& m, bool v) : member(m), field{{}, v} {}
    Initial(const QZ_PSS::ULong& m, CORBA::ULong v) : member(m), field{{}, v} {}
    Initial(const QZ_PSS::ULongLong& m, CORBA::ULongLong v) : member(m), field{{}, static_cast<long long>(v)} {}
    template <class T>
    Initial(const QZ_PSS::Reference<T>& m, const QZ_PSS::StorageRef<T>& v)
        : member(m), field{StorageObject::reference_text(v.get()), 0} {}
    template <class I>
    Initial(const QZ_PSS::ObjectReference<I>& m, typename I::_ptr_type v)
        : member(m), object(CORBA::Object::_duplicate(v)) {}
    template <class Seq>
    Initial(const QZ_PSS::OctetsList<Seq>& m, const Seq& v) : member(m), items(QZ_PSS::to_hex_list(v)) {}
    Initial(const QZ_PSS::StringList& m, std::vector<std::string> v) : member(m), items(std::move(v)) {}

    QZ_PSS::Member member;
    QZ_PSS::Field field;
    CORBA::Object_var object;
    std::vector<std::string> items;
  };

  // The record with that key; CosPersistentState::NotFound when there is none. T: the home's storage type or a base.
  template <class T>
  QZ_PSS::StorageRef<T> find(const CORBA::OctetSeq& key) const {
    return QZ_PSS::StorageRef<T>::checked(find_object(QZ_PSS::to_hex(key)));
  }
  template <class T>
  QZ_PSS::StorageRef<T> find(const char* key) const {
    return QZ_PSS::StorageRef<T>::checked(find_object(key ? key : ""));
  }
  // Members not named start as "", 0, false, nil or the empty list. PERSIST_STORE with MINOR_ALREADY_EXISTS when there
  // is a record with that key; nothing has been written then and the transaction can go on.
  template <class T>
  QZ_PSS::StorageRef<T> create_object(std::initializer_list<Initial> values) {
    return QZ_PSS::StorageRef<T>::checked(create_record(values));
  }

 private:
  friend class QZ_PSS::HomeContext;

  QZ_Handle<StorageObject> find_object(const std::string& key) const;
  QZ_Handle<StorageObject> create_record(std::initializer_list<Initial> values);

  std::shared_ptr<QZ_PSS::HomeContext> m_context;  // set once by the session that makes the home
};

}  // namespace CosPersistentState
