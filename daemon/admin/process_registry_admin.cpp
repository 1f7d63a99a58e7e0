#include "daemon/admin/process_registry_admin.h"

#include "daemon/admin/name_pages.h"
#include "daemon/process_info.h"

namespace poalocd {

QZ_IMRAdmin::Process_ptr ProcessRegistryAdmin::add(const QZ_IMRAdmin::ProcessInfo& info) {
  const auto settings = to_settings(info);
  m_imr.add_process(settings);
  return m_one.reference(settings.name);
}

QZ_IMRAdmin::Process_ptr ProcessRegistryAdmin::find(const char* name) {
  return m_imr.processes().get(name).is_null() ? QZ_IMRAdmin::Process::_nil() : m_one.reference(name);
}

QZ_IMRAdmin::ProcessInfoList* ProcessRegistryAdmin::list(const char* from, CORBA::ULong how_many,
                                                         CORBA::String_out next) {
  return make_page<QZ_IMRAdmin::ProcessInfoList>(
      from, how_many, next,
      [this](const std::string& after, std::size_t most) { return m_imr.processes().page(after, most); },
      [](const RefCountHandle<ImrProcess>& process) { return process->settings().name; },
      [](const RefCountHandle<ImrProcess>& process, QZ_IMRAdmin::ProcessInfo& info) {
        info = to_info(process->settings());
        return true;
      });
}

}  // namespace poalocd
