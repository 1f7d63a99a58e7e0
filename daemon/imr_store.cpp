#include "daemon/imr_store.h"

namespace QZ_ImrStore {

const QZ_PSS::StorageType& ProcessData::storage_type() {
  static const QZ_PSS::StorageType type(
      "PSDL:QZ_ImrStore/ProcessData:1.0", "ProcessData", NAME,
      {NAME, ARGV, WORKING_DIRECTORY, ENVIRONMENT, USER, STARTUP_TIME_LIMIT, STOP_GRACE, LOG_FILE});
  return type;
}

const QZ_PSS::StorageType& OrbData::storage_type() {
  static const QZ_PSS::StorageType type("PSDL:QZ_ImrStore/OrbData:1.0", "OrbData", NAME, {NAME, PROCESS_NAME});
  return type;
}

}  // namespace QZ_ImrStore
