// Base of the accessor classes of storage types. A derived class is one line a member:
//
//   class NamespaceData : public CosPersistentState::StorageObject {
//    public:
//     static constexpr QZ_PSS::Octets EP_ID{"ep_id"};
//     static constexpr QZ_PSS::String NAME{"name"};
//     static const QZ_PSS::StorageType& storage_type();
//     CORBA::OctetSeq ep_id() const { return get(EP_ID); }
//     std::string name() const { return get(NAME); }
//     void name(const char* value) { set(NAME, value); }
//   };
#pragma once

#include <omniORB4/CORBA.h>

#include <cstdint>
#include <memory>
#include <qz_pss.hh>
#include <string>
#include <vector>

#include "platform/base/qz_body.h"
#include "platform/base/qz_handle.h"
#include "platform/orb/packed_reference.h"
#include "platform/pss/field.h"
#include "platform/pss/member.h"
#include "platform/pss/pss_errors.h"

namespace QZ_PSS {
class HomeTable;
class HomeContext;
template <class T>
class StorageRef;
}  // namespace QZ_PSS

namespace CosPersistentState {

// One record, seen through one association. Held by QZ_PSS::StorageRef; used by the association's thread only, until
// the association has ended (in a transaction: until the transaction has), then BAD_INV_ORDER.
// Any access raises OBJECT_NOT_EXIST when the record has gone and PERSIST_STORE or TRANSIENT when the store fails.
// Outside a transaction the members read as they were when the record was found; lists are read when asked for.
// Inside one they are always up to date with the transaction's own writes.
// Setters need an association in mode 1 (TRANSACTION_REQUIRED) and write at once into the transaction.
class StorageObject : public QZ_Body {
 public:
  // Removes the record and its lists. Every later access to it raises OBJECT_NOT_EXIST.
  void destroy_object();

  QZ_PSS::StorageObjectReference to_reference() const;
  // Whether the record is there now.
  bool exists() const;

 protected:
  StorageObject();
  ~StorageObject() override;

  CORBA::OctetSeq get(const QZ_PSS::Octets& member) const { return QZ_PSS::from_hex(field(member).text); }
  std::string get(const QZ_PSS::String& member) const { return field(member).text; }
  bool get(const QZ_PSS::Boolean& member) const { return field(member).number != 0; }
  CORBA::ULong get(const QZ_PSS::ULong& member) const { return static_cast<CORBA::ULong>(field(member).number); }
  CORBA::ULongLong get(const QZ_PSS::ULongLong& member) const {
    return static_cast<CORBA::ULongLong>(field(member).number);
  }
  // Nil for nil. Does not look whether the record referred to exists.
  template <class T>
  QZ_PSS::StorageRef<T> get(const QZ_PSS::Reference<T>& member) const {
    return QZ_PSS::StorageRef<T>::checked(referred(member));
  }
  // The caller releases it.
  template <class I>
  typename I::_ptr_type get(const QZ_PSS::ObjectReference<I>& member) const {
    CORBA::Object_var object = object_field(member);
    return I::_unchecked_narrow(object);
  }
  // The same without the ORB's object.
  template <class I>
  QZ_CORBA::PackedReference get_packed(const QZ_PSS::ObjectReference<I>& member) const {
    return packed_field(member);
  }
  // In the order in which the elements were added.
  template <class Seq>
  Seq get(const QZ_PSS::OctetsList<Seq>& member) const {
    const std::vector<std::string> items = list(member);
    Seq result;
    result.length(static_cast<CORBA::ULong>(items.size()));
    for (CORBA::ULong i = 0; i < result.length(); ++i) result[i] = QZ_PSS::from_hex(items[i]);
    return result;
  }
  std::vector<std::string> get(const QZ_PSS::StringList& member) const { return list(member); }

  void set(const QZ_PSS::Octets& member, const CORBA::OctetSeq& value) {
    set_field(member, {QZ_PSS::to_hex(value), 0});
  }
  void set(const QZ_PSS::String& member, const char* value) { set_field(member, {value ? value : "", 0}); }
  void set(const QZ_PSS::String& member, const std::string& value) { set_field(member, {value, 0}); }
  void set(const QZ_PSS::Boolean& member, bool value) { set_field(member, {{}, value}); }
  void set(const QZ_PSS::ULong& member, CORBA::ULong value) { set_field(member, {{}, value}); }
  void set(const QZ_PSS::ULongLong& member, CORBA::ULongLong value) {
    set_field(member, {{}, static_cast<long long>(value)});
  }
  template <class T>
  void set(const QZ_PSS::Reference<T>& member, const QZ_PSS::StorageRef<T>& value) {
    set_field(member, {reference_text(value.get()), 0});
  }
  template <class I>
  void set(const QZ_PSS::ObjectReference<I>& member, typename I::_ptr_type value) {
    set_object(member, value);
  }
  // Replaces the whole list.
  template <class Seq>
  void set(const QZ_PSS::OctetsList<Seq>& member, const Seq& value) {
    replace_list(member, QZ_PSS::to_hex_list(value));
  }
  void set(const QZ_PSS::StringList& member, const std::vector<std::string>& value) { replace_list(member, value); }

  // The cost of these does not depend on the list's length.
  template <class Seq>
  void append(const QZ_PSS::OctetsList<Seq>& member, const CORBA::OctetSeq& value) {
    append_item(member, QZ_PSS::to_hex(value));
  }
  void append(const QZ_PSS::StringList& member, const std::string& value) { append_item(member, value); }
  // Removes the first element that equals value; false when there is none.
  template <class Seq>
  bool remove(const QZ_PSS::OctetsList<Seq>& member, const CORBA::OctetSeq& value) {
    return remove_item(member, QZ_PSS::to_hex(value));
  }
  bool remove(const QZ_PSS::StringList& member, const std::string& value) { return remove_item(member, value); }
  // The number of elements.
  template <class Seq>
  CORBA::ULong count(const QZ_PSS::OctetsList<Seq>& member) const {
    return static_cast<CORBA::ULong>(field(member).number);
  }
  CORBA::ULong count(const QZ_PSS::StringList& member) const { return static_cast<CORBA::ULong>(field(member).number); }

 private:
  friend class StorageHomeBase;
  friend class QZ_PSS::HomeContext;
  template <class T>
  friend class QZ_PSS::StorageRef;

  const QZ_PSS::Field& field(const QZ_PSS::Member& member) const;
  QZ_Handle<StorageObject> referred(const QZ_PSS::Member& member) const;
  CORBA::Object_ptr object_field(const QZ_PSS::Member& member) const;
  QZ_CORBA::PackedReference packed_field(const QZ_PSS::Member& member) const;
  std::vector<std::string> list(const QZ_PSS::Member& member) const;
  void set_field(const QZ_PSS::Member& member, QZ_PSS::Field value);
  void set_object(const QZ_PSS::Member& member, CORBA::Object_ptr value);
  void replace_list(const QZ_PSS::Member& member, const std::vector<std::string>& items);
  void append_item(const QZ_PSS::Member& member, const std::string& item);
  bool remove_item(const QZ_PSS::Member& member, const std::string& item);
  static std::string reference_text(const StorageObject* object);
  void load() const;

  std::shared_ptr<QZ_PSS::HomeContext> m_context;  // set once by the home that makes the object
  long long m_seq = 0;
  mutable std::vector<QZ_PSS::Field> m_fields;  // empty until loaded
  mutable std::uint64_t m_loaded_at = 0;        // the transaction's count of changes when m_fields was loaded
};

}  // namespace CosPersistentState
