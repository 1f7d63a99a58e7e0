#include "platform/base/plugin_manager.h"

#include <map>
#include <string>

#include "platform/base/qz_mutex.h"
#include "platform/orb/ref_counted_local_object.h"

namespace QZ_PlugIn {

namespace {

class PlugInManagerImpl : public virtual PlugInManager, public QZ_CORBA::RefCountedLocalObject {
 public:
  void register_plugin(PlugIn_ptr which) override {
    if (CORBA::is_nil(which)) throw CORBA::BAD_PARAM(0, CORBA::COMPLETED_NO);
    const CORBA::String_var name = which->name();
    // Borrowed, not duplicated: a plug-in is a static object of its library, and unregisters itself when it goes.
    const QZ_MutexLock lock(m_mutex);
    if (!m_plugins.emplace(name.in(), which).second) throw CORBA::BAD_PARAM(0, CORBA::COMPLETED_NO);
  }

  void unregister_plugin(const char* name) override {
    const QZ_MutexLock lock(m_mutex);
    m_plugins.erase(name);
  }

  PlugIn_ptr find(const char* name) override {
    const QZ_MutexLock lock(m_mutex);
    const auto found = m_plugins.find(name);
    return found == m_plugins.end() ? PlugIn::_nil() : PlugIn::_duplicate(found->second);
  }

 private:
  QZ_Mutex m_mutex;
  std::map<std::string, PlugIn_ptr, std::less<>> m_plugins GUARDED_BY(m_mutex);
};

}  // namespace

PlugInManager_ptr plugin_manager() {
  // Never deleted: libraries unregister from their static destructors, in no known order.
  static PlugInManagerImpl* const manager = new PlugInManagerImpl;
  return PlugInManager::_duplicate(manager);
}

}  // namespace QZ_PlugIn
