#include "daemon/admin/active_process_registry_admin.h"

#include "daemon/admin/name_pages.h"

namespace poalocd {

using QZ_LocatorAdmin::ActiveProcessInfo;
using QZ_LocatorAdmin::ActiveProcessInfoList;

QZ_LocatorAdmin::ActiveProcess_ptr ActiveProcessRegistryAdmin::find(const char* name) {
  return m_processes.find_configured(name).is_null() ? QZ_LocatorAdmin::ActiveProcess::_nil() : m_one.reference(name);
}

ActiveProcessInfoList* ActiveProcessRegistryAdmin::list(const char* from, CORBA::ULong how_many,
                                                        CORBA::String_out next) {
  return make_page<ActiveProcessInfoList>(
      from, how_many, next,
      [this](const std::string& after, std::size_t most) { return m_processes.page(after, most); },
      [](const RefCountHandle<ActiveProcessImpl>& process) {
        const CORBA::String_var name = process->name();
        return std::string(name.in());
      },
      [](const RefCountHandle<ActiveProcessImpl>& process, ActiveProcessInfo& info) {
        const QZ_LocatorAdmin::ActiveProcessInfo_var now = process->info();
        if (now->state == QZ_LocatorAdmin::PROCESS_STOPPED) return false;
        info = now;
        return true;
      });
}

}  // namespace poalocd
