// The host locator's record of an active ORB: base of the records that locator plug-ins keep of theirs.
#pragma once

#include <string>

#include "platform/pss/storage_home.h"

namespace QZ_LocatorStore {

// process_name is empty when no process runs the ORB.
class ActiveOrbData : public CosPersistentState::StorageObject {
 public:
  static constexpr QZ_PSS::String NAME{"name"};  // the key
  static constexpr QZ_PSS::String PROCESS_NAME{"process_name"};
  static const QZ_PSS::StorageType& storage_type();

  std::string name() const { return get(NAME); }
  std::string process_name() const { return get(PROCESS_NAME); }
  void process_name(const char* value) { set(PROCESS_NAME, value); }
};
using ActiveOrbDataRef = QZ_PSS::StorageRef<ActiveOrbData>;

// Base of the homes of derived records; CosPersistentState::NotFound when there is no ORB of that name.
class ActiveOrbHome : public CosPersistentState::StorageHomeBase {
 public:
  static ActiveOrbHome* _narrow(StorageHomeBase* home) { return dynamic_cast<ActiveOrbHome*>(home); }
  ActiveOrbDataRef find_by_name(const char* name) const { return find<ActiveOrbData>(name); }
};

}  // namespace QZ_LocatorStore
