#include "daemon/locator_store.h"

namespace QZ_LocatorStore {

const QZ_PSS::StorageType& ActiveProcessData::storage_type() {
  static const QZ_PSS::StorageType type("PSDL:QZ_LocatorStore/ActiveProcessData:1.0", "ActiveProcessData", NAME,
                                        {NAME, PID, START_TIME, BOOT_ID, LEAVING});
  return type;
}

}  // namespace QZ_LocatorStore
