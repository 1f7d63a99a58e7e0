#include "tests/system/admin/admin_test.h"

#include <algorithm>

QZ_IMRAdmin::ProcessInfo process_info(const std::string& name, const Words& argv) {
  QZ_IMRAdmin::ProcessInfo info;
  info.name = name.c_str();
  info.argv.length(static_cast<CORBA::ULong>(argv.size()));
  for (CORBA::ULong i = 0; i < argv.size(); ++i) info.argv[i] = argv[i].c_str();
  info.startup_time_limit = 0;
  info.stop_grace = 10'000;
  return info;
}

QZ_LocationCommon::ORBInfo orb_info(const std::string& name, const std::string& process) {
  QZ_LocationCommon::ORBInfo info;
  info.name = name.c_str();
  info.process = process.c_str();
  return info;
}

QZ_POAIMRAdmin::FullyQualifiedName full_name(const std::string& path) {
  QZ_POAIMRAdmin::FullyQualifiedName name;
  for (const std::string& part : support::split_path(path)) append(name, part.c_str());
  return name;
}

QZ_IMRAdmin::POAEntry poa_entry(const std::string& path, const std::string& orb) {
  QZ_IMRAdmin::POAEntry entry;
  entry.name = full_name(path);
  entry.persistent = true;
  entry.allow_dynamic_registration = true;
  entry.orb_name = orb.c_str();
  return entry;
}

QZ_IMRAdmin::Process_var AdminTest::add_process(const std::string& name, const Words& argv) const {
  return processes()->add(process_info(name, argv));
}

QZ_IMRAdmin::ORB_var AdminTest::add_orb(const std::string& name, const std::string& process) const {
  return orbs()->add(orb_info(name, process));
}

void AdminTest::add_poa(const std::string& path, const std::string& orb) const {
  QZ_POAIMRAdmin::POA_var above = poas()->root_namespace();
  for (const std::string& part : support::split_path(path)) {
    QZ_POAIMRAdmin::POA_var below = above->lookup(part.c_str());
    if (CORBA::is_nil(below)) below = above->add(part.c_str(), true, true, orb.c_str());
    above = below;
  }
}

Words AdminTest::process_names() const {
  const auto registry = processes();
  return all_pages([&](auto&&... a) { return QZ_IMRAdmin::ProcessInfoList_var(registry->list(a...)); }, 7,
                   [](const QZ_IMRAdmin::ProcessInfo& info) { return std::string(info.name.in()); });
}

Words AdminTest::orb_names() const {
  const auto registry = orbs();
  return all_pages([&](auto&&... a) { return QZ_IMRAdmin::ORBInfoList_var(registry->list(a...)); }, 7,
                   [](const QZ_LocationCommon::ORBInfo& info) { return std::string(info.name.in()); });
}

Words AdminTest::poa_entries() const {
  const auto all = repository();
  Words result = all_pages([&](auto&&... a) { return QZ_IMRAdmin::POAEntryList_var(all->list_poas(a...)); }, 100,
                           [](const QZ_IMRAdmin::POAEntry& entry) {
                             std::string path;
                             for (CORBA::ULong i = 0; i < entry.name.length(); ++i)
                               path += (i ? "/" : "") + std::string(entry.name[i].in());
                             return path.empty() ? path : path + " " + entry.orb_name.in();
                           });
  std::erase(result, "");
  std::sort(result.begin(), result.end());
  return result;
}

std::string AdminTest::process_of(const std::string& orb) const {
  const QZ_IMRAdmin::ORB_var found = orbs()->find(orb.c_str());
  if (CORBA::is_nil(found)) return "(none)";
  return QZ_LocationCommon::ORBInfo_var(found->info())->process.in();
}
