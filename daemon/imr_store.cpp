#include "daemon/imr_store.h"

namespace QZ_ImrStore {

const QZ_PSS::StorageType& ProcessData::storage_type() {
  static const QZ_PSS::StorageType type(
      "PSDL:QZ_ImrStore/ProcessData:1.0", "ProcessData", NAME,
      {NAME, ARGV, WORKING_DIRECTORY, ENVIRONMENT, USER, STARTUP_TIME_LIMIT, STOP_GRACE, LOG_FILE});
  return type;
}

ProcessDataRef ProcessDataHome::create(const std::string& name, const std::vector<std::string>& argv,
                                       const std::string& working_directory,
                                       const std::vector<std::string>& environment, const std::string& user,
                                       CORBA::ULongLong startup_time_limit, CORBA::ULongLong stop_grace,
                                       const std::string& log_file) {
  return create_object<ProcessData>({{ProcessData::NAME, name},
                                     {ProcessData::ARGV, argv},
                                     {ProcessData::WORKING_DIRECTORY, working_directory},
                                     {ProcessData::ENVIRONMENT, environment},
                                     {ProcessData::USER, user},
                                     {ProcessData::STARTUP_TIME_LIMIT, startup_time_limit},
                                     {ProcessData::STOP_GRACE, stop_grace},
                                     {ProcessData::LOG_FILE, log_file}});
}

const QZ_PSS::StorageType& OrbData::storage_type() {
  static const QZ_PSS::StorageType type("PSDL:QZ_ImrStore/OrbData:1.0", "OrbData", NAME, {NAME, PROCESS_NAME});
  return type;
}

}  // namespace QZ_ImrStore
