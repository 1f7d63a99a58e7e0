#include "daemon/admin/active_orb_registry_admin.h"

#include <map>

#include "daemon/active_process_impl.h"
#include "daemon/admin/name_pages.h"

namespace poalocd {

namespace {

using QZ_LocatorAdmin::ActiveORBInfo;
using QZ_LocatorAdmin::ActiveORBInfoList;
using QZ_LocatorAdmin::ActiveProcessInfo_var;

// One page. Many ORBs may share a process, which is asked once.
class OrbDescriber {
 public:
  void operator()(QZ_LocatorInternal::ActiveORB_ptr orb, ActiveORBInfo& info) {
    info.name = orb->name();
    info.process = "";
    info.pid = 0;
    info.start_time = 0;
    auto* reporting = dynamic_cast<QZ_LocatorInternal::ReportingORB*>(orb);
    info.activator_held = reporting && reporting->activator_held();
    info.number_of_poas = reporting ? reporting->number_of_poas() : 0;
    const QZ_LocatorInternal::ActiveProcess_var process = orb->process();
    auto* known = dynamic_cast<ActiveProcessImpl*>(process.in());
    if (!known) {
      info.process_state = orb->registered() ? QZ_LocatorAdmin::PROCESS_RUNNING : QZ_LocatorAdmin::PROCESS_STOPPED;
      return;
    }
    auto found = m_processes.find(known);
    if (found == m_processes.end()) found = m_processes.emplace(known, known->info()).first;
    const auto& now = found->second;
    info.process = now->name;
    info.process_state = now->state;
    info.pid = now->pid;
    info.start_time = now->start_time;
  }

 private:
  std::map<const ActiveProcessImpl*, ActiveProcessInfo_var> m_processes;
};

}  // namespace

QZ_LocatorAdmin::ActiveORB_ptr ActiveOrbRegistryAdmin::find(const char* name) {
  const QZ_LocatorInternal::ActiveORB_var orb = m_orbs.find(name);
  return CORBA::is_nil(orb) ? QZ_LocatorAdmin::ActiveORB::_nil() : orb->external_reference();
}

ActiveORBInfoList* ActiveOrbRegistryAdmin::list(const char* from, CORBA::ULong how_many, CORBA::String_out next) {
  OrbDescriber describe;
  return make_page<ActiveORBInfoList>(
      from, how_many, next, [this](const std::string& after, std::size_t most) { return m_orbs.page(after, most); },
      [](const QZ_LocatorInternal::ActiveORB_var& orb) {
        const CORBA::String_var name = orb->name();
        return std::string(name.in());
      },
      [&](const QZ_LocatorInternal::ActiveORB_var& orb, ActiveORBInfo& info) {
        describe(orb.in(), info);
        return true;
      });
}

}  // namespace poalocd
