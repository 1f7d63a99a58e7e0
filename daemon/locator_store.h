// The host locator's record of the processes that run; that of active ORBs is in platform/pss/active_orb_data.h.
#pragma once

#include <string>

#include "platform/pss/storage_home.h"

namespace QZ_LocatorStore {

// pid 0: known to run, because one of its ORBs registered, but not started by the daemon.
class ActiveProcessData : public CosPersistentState::StorageObject {
 public:
  static constexpr QZ_PSS::String NAME{"name"};  // the key
  static constexpr QZ_PSS::ULong PID{"pid"};
  static constexpr QZ_PSS::ULongLong START_TIME{"start_time"};  // clock ticks since the boot
  static constexpr QZ_PSS::String BOOT_ID{"boot_id"};
  static constexpr QZ_PSS::Boolean LEAVING{"leaving"};
  static const QZ_PSS::StorageType& storage_type();

  std::string name() const { return get(NAME); }
  CORBA::ULong pid() const { return get(PID); }
  CORBA::ULongLong start_time() const { return get(START_TIME); }
  std::string boot_id() const { return get(BOOT_ID); }
  bool leaving() const { return get(LEAVING); }
};
using ActiveProcessDataRef = QZ_PSS::StorageRef<ActiveProcessData>;

class ActiveProcessHome : public CosPersistentState::StorageHomeBase {
 public:
  using Data = ActiveProcessData;
  static constexpr const char* TYPE_ID = "PSDL:QZ_LocatorStoreImpl/ActiveProcessHomeImpl:1.0";
  static ActiveProcessHome* _narrow(StorageHomeBase* home) { return dynamic_cast<ActiveProcessHome*>(home); }

  ActiveProcessDataRef find_by_name(const std::string& name) const { return find<ActiveProcessData>(name.c_str()); }
  ActiveProcessDataRef create(const std::string& name, CORBA::ULong pid, CORBA::ULongLong start_time,
                              const std::string& boot_id, bool leaving) {
    return create_object<ActiveProcessData>({{ActiveProcessData::NAME, name},
                                             {ActiveProcessData::PID, pid},
                                             {ActiveProcessData::START_TIME, start_time},
                                             {ActiveProcessData::BOOT_ID, boot_id},
                                             {ActiveProcessData::LEAVING, leaving}});
  }
};

}  // namespace QZ_LocatorStore
