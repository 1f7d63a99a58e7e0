#include "daemon/admin/process_admin.h"

#include "daemon/process_info.h"

namespace poalocd {

RefCountHandle<ImrProcess> ProcessAdmin::process() const {
  auto result = m_imr.processes().get(object_id());
  if (result.is_null()) throw CORBA::OBJECT_NOT_EXIST(0, CORBA::COMPLETED_NO);
  return result;
}

char* ProcessAdmin::name() {
  return process()->name();
}

QZ_IMRAdmin::ProcessInfo* ProcessAdmin::info() {
  return new QZ_IMRAdmin::ProcessInfo(to_info(process()->settings()));
}

ProcessSettings ProcessAdmin::checked(const QZ_IMRAdmin::ProcessInfo& info) const {
  const std::string name = process()->settings().name;
  auto settings = to_settings(info);
  if (settings.name != name) throw QZ_IMRAdmin::InvalidValue("name", ("must stay \"" + name + "\"").c_str());
  return settings;
}

void ProcessAdmin::change(const QZ_IMRAdmin::ProcessInfo& info) {
  m_imr.change_process(checked(info));
}

CORBA::Boolean ProcessAdmin::change_from(const QZ_IMRAdmin::ProcessInfo& before, const QZ_IMRAdmin::ProcessInfo& info) {
  const auto settings = checked(info);
  return m_imr.change_process(checked(before), settings);
}

void ProcessAdmin::destroy(QZ_LocationCommon::DestroyType type) {
  const std::string name = process()->settings().name;
  m_imr.destroy_process(name, type, runs(name));
}

std::vector<std::string> ProcessAdmin::runs(const std::string& name) const {
  const auto active = m_active.find_configured(name);
  if (active.is_null()) return {};
  const QZ_LocatorAdmin::ActiveProcessInfo_var info = active->info();
  if (info->state == QZ_LocatorAdmin::PROCESS_STOPPED) return {};
  return {info->pid == 0 ? "its run" : "its run with pid " + std::to_string(info->pid)};
}

}  // namespace poalocd
