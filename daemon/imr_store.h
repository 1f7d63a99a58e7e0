// The host IMR's records: configured processes and ORBs.
#pragma once

#include <string>
#include <vector>

#include "platform/pss/storage_home.h"

namespace QZ_ImrStore {

class ProcessData : public CosPersistentState::StorageObject {
 public:
  static constexpr QZ_PSS::String NAME{"name"};  // the key
  static constexpr QZ_PSS::StringList ARGV{"argv"};
  static constexpr QZ_PSS::String WORKING_DIRECTORY{"working_directory"};
  static constexpr QZ_PSS::StringList ENVIRONMENT{"environment"};  // NAME=value
  static constexpr QZ_PSS::String USER{"user_name"};
  static constexpr QZ_PSS::ULongLong STARTUP_TIME_LIMIT{"startup_time_limit"};  // milliseconds
  static constexpr QZ_PSS::ULongLong STOP_GRACE{"stop_grace"};                  // milliseconds
  static constexpr QZ_PSS::String LOG_FILE{"log_file"};
  static const QZ_PSS::StorageType& storage_type();

  std::string name() const { return get(NAME); }
  std::vector<std::string> argv() const { return get(ARGV); }
  std::string working_directory() const { return get(WORKING_DIRECTORY); }
  std::vector<std::string> environment() const { return get(ENVIRONMENT); }
  std::string user() const { return get(USER); }
  CORBA::ULongLong startup_time_limit() const { return get(STARTUP_TIME_LIMIT); }
  CORBA::ULongLong stop_grace() const { return get(STOP_GRACE); }
  std::string log_file() const { return get(LOG_FILE); }

  void argv(const std::vector<std::string>& value) { set(ARGV, value); }
  void working_directory(const std::string& value) { set(WORKING_DIRECTORY, value); }
  void environment(const std::vector<std::string>& value) { set(ENVIRONMENT, value); }
  void user(const std::string& value) { set(USER, value); }
  void startup_time_limit(CORBA::ULongLong value) { set(STARTUP_TIME_LIMIT, value); }
  void stop_grace(CORBA::ULongLong value) { set(STOP_GRACE, value); }
  void log_file(const std::string& value) { set(LOG_FILE, value); }
};
using ProcessDataRef = QZ_PSS::StorageRef<ProcessData>;

class ProcessDataHome : public CosPersistentState::StorageHomeBase {
 public:
  using Data = ProcessData;
  static constexpr const char* TYPE_ID = "PSDL:QZ_ImrStoreImpl/ProcessDataHomeImpl:1.0";
  static ProcessDataHome* _narrow(StorageHomeBase* home) { return dynamic_cast<ProcessDataHome*>(home); }

  ProcessDataRef find_by_name(const std::string& name) const { return find<ProcessData>(name.c_str()); }
  // With no other member set.
  ProcessDataRef create(const std::string& name) { return create_object<ProcessData>({{ProcessData::NAME, name}}); }
};

class OrbData : public CosPersistentState::StorageObject {
 public:
  static constexpr QZ_PSS::String NAME{"name"};  // the key
  static constexpr QZ_PSS::String PROCESS_NAME{"process_name"};
  static const QZ_PSS::StorageType& storage_type();

  std::string name() const { return get(NAME); }
  std::string process_name() const { return get(PROCESS_NAME); }
  void process_name(const std::string& value) { set(PROCESS_NAME, value); }
};
using OrbDataRef = QZ_PSS::StorageRef<OrbData>;

class OrbDataHome : public CosPersistentState::StorageHomeBase {
 public:
  using Data = OrbData;
  static constexpr const char* TYPE_ID = "PSDL:QZ_ImrStoreImpl/OrbDataHomeImpl:1.0";
  static OrbDataHome* _narrow(StorageHomeBase* home) { return dynamic_cast<OrbDataHome*>(home); }

  OrbDataRef find_by_name(const std::string& name) const { return find<OrbData>(name.c_str()); }
  OrbDataRef create(const std::string& name, const std::string& process_name) {
    return create_object<OrbData>({{OrbData::NAME, name}, {OrbData::PROCESS_NAME, process_name}});
  }
};

}  // namespace QZ_ImrStore
