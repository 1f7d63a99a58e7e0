// Storage types as their owners declare them: a tree of names, and a base type with a derived one.
#pragma once

#include <omniORB4/CORBA.h>

#include <string>
#include <vector>

#include "platform/pss/storage_home.h"
#include "platform/pss/storage_object.h"
#include "platform/pss/storage_ref.h"
#include "platform/pss/storage_type.h"

namespace Example {

// An IDL sequence of octet sequences, as omniidl makes it.
using IdList = _CORBA_Unbounded_Sequence<CORBA::OctetSeq>;

class NameData;
using NameDataRef = QZ_PSS::StorageRef<NameData>;

class NameData : public CosPersistentState::StorageObject {
 public:
  static constexpr QZ_PSS::Octets ID{"id"};
  static constexpr QZ_PSS::String NAME{"name"};
  static constexpr QZ_PSS::Reference<NameData> PARENT{"parent"};
  static constexpr QZ_PSS::OctetsList<IdList> CHILDREN{"children"};
  static constexpr QZ_PSS::ULong DYNAMIC{"dynamic"};
  static constexpr QZ_PSS::Boolean PERSISTENT{"persistent"};

  static const QZ_PSS::StorageType& storage_type() {
    static const QZ_PSS::StorageType type("PSDL:Example/NameData:1.0", "NameData", ID,
                                          {ID, NAME, PARENT, CHILDREN, DYNAMIC, PERSISTENT});
    return type;
  }

  CORBA::OctetSeq id() const { return get(ID); }
  void id(const CORBA::OctetSeq& value) { set(ID, value); }  // refused: it is the key
  std::string name() const { return get(NAME); }
  void name(const char* value) { set(NAME, value); }
  NameDataRef parent() const { return get(PARENT); }
  void parent(const NameDataRef& value) { set(PARENT, value); }
  IdList children() const { return get(CHILDREN); }
  void children(const IdList& value) { set(CHILDREN, value); }
  void add_child(const CORBA::OctetSeq& value) { append(CHILDREN, value); }
  bool remove_child(const CORBA::OctetSeq& value) { return remove(CHILDREN, value); }
  CORBA::ULong child_count() const { return count(CHILDREN); }
  bool dynamic() const { return get(DYNAMIC) != 0; }
  void dynamic(bool value) { set(DYNAMIC, value ? 1 : 0); }
  bool persistent() const { return get(PERSISTENT); }
};

class NameHome : public CosPersistentState::StorageHomeBase {
 public:
  using Data = NameData;
  static NameHome* _narrow(StorageHomeBase* home) { return dynamic_cast<NameHome*>(home); }

  NameDataRef find_by_id(const CORBA::OctetSeq& id) const { return find<NameData>(id); }
  NameDataRef create_named(const CORBA::OctetSeq& id, const char* name) {
    return create_object<NameData>({{NameData::ID, id}, {NameData::NAME, name}});
  }
  NameDataRef create(const CORBA::OctetSeq& id, const char* name, const NameDataRef& parent, const IdList& children,
                     bool dynamic, bool persistent) {
    return create_object<NameData>({{NameData::ID, id},
                                    {NameData::NAME, name},
                                    {NameData::PARENT, parent},
                                    {NameData::CHILDREN, children},
                                    {NameData::DYNAMIC, dynamic ? 1U : 0U},
                                    {NameData::PERSISTENT, persistent}});
  }
};

class OrbData : public CosPersistentState::StorageObject {
 public:
  static constexpr QZ_PSS::String NAME{"name"};
  static constexpr QZ_PSS::String PROCESS{"process"};
  static constexpr QZ_PSS::ULongLong START_TIME{"start_time"};

  static const QZ_PSS::StorageType& storage_type() {
    static const QZ_PSS::StorageType type("PSDL:Example/OrbData:1.0", "OrbData", NAME, {NAME, PROCESS, START_TIME});
    return type;
  }

  std::string name() const { return get(NAME); }
  std::string process() const { return get(PROCESS); }
  void process(const char* value) { set(PROCESS, value); }
  CORBA::ULongLong start_time() const { return get(START_TIME); }
  void start_time(CORBA::ULongLong value) { set(START_TIME, value); }
};
using OrbDataRef = QZ_PSS::StorageRef<OrbData>;

class OrbHome : public CosPersistentState::StorageHomeBase {
 public:
  using Data = OrbData;
  static OrbHome* _narrow(StorageHomeBase* home) { return dynamic_cast<OrbHome*>(home); }
  OrbDataRef find_by_name(const char* name) const { return find<OrbData>(name); }
};

class PoaOrbData : public OrbData {
 public:
  static constexpr QZ_PSS::OctetsList<IdList> ENDPOINTS{"endpoints"};
  static constexpr QZ_PSS::ObjectReference<CORBA::Object> ACTIVATOR{"activator"};
  static constexpr QZ_PSS::StringList ARGUMENTS{"arguments"};

  static const QZ_PSS::StorageType& storage_type() {
    static const QZ_PSS::StorageType type("PSDL:Example/PoaOrbData:1.0", "PoaOrbData", OrbData::storage_type(),
                                          {ENDPOINTS, ACTIVATOR, ARGUMENTS});
    return type;
  }

  IdList endpoints() const { return get(ENDPOINTS); }
  CORBA::Object_ptr activator() const { return get(ACTIVATOR); }
  QZ_CORBA::PackedReference packed_activator() const { return get_packed(ACTIVATOR); }
  void activator(CORBA::Object_ptr value) { set(ACTIVATOR, value); }
  std::vector<std::string> arguments() const { return get(ARGUMENTS); }
  void arguments(const std::vector<std::string>& value) { set(ARGUMENTS, value); }
  void add_argument(const char* value) { append(ARGUMENTS, value); }
  bool remove_argument(const char* value) { return remove(ARGUMENTS, value); }
};
using PoaOrbDataRef = QZ_PSS::StorageRef<PoaOrbData>;

class PoaOrbHome : public OrbHome {
 public:
  using Data = PoaOrbData;
  static PoaOrbHome* _narrow(StorageHomeBase* home) { return dynamic_cast<PoaOrbHome*>(home); }
  PoaOrbDataRef create(const char* name, const char* process, const IdList& endpoints, CORBA::Object_ptr activator) {
    return create_object<PoaOrbData>({{PoaOrbData::NAME, name},
                                      {PoaOrbData::PROCESS, process},
                                      {PoaOrbData::ENDPOINTS, endpoints},
                                      {PoaOrbData::ACTIVATOR, activator}});
  }
};

}  // namespace Example
