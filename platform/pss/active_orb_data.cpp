#include "platform/pss/active_orb_data.h"

namespace QZ_LocatorStore {

const QZ_PSS::StorageType& ActiveOrbData::storage_type() {
  static const QZ_PSS::StorageType type("PSDL:QZ_LocatorStore/ActiveOrbData:1.0", "ActiveOrbData", NAME,
                                        {NAME, PROCESS_NAME});
  return type;
}

}  // namespace QZ_LocatorStore
