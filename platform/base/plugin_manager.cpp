#include "platform/base/plugin_manager.h"

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "platform/base/qz_mutex.h"
#include "platform/orb/ref_counted_local_object.h"

namespace QZ_PlugIn {

namespace {

class PlugInManagerImpl : public virtual PlugInManager, public QZ_CORBA::RefCountedLocalObject {
 public:
  void register_plugin(PlugIn_ptr which) override {
    if (CORBA::is_nil(which)) throw CORBA::BAD_PARAM(0, CORBA::COMPLETED_NO);
    const CORBA::String_var name = which->name();
    const QZ_MutexLock lock(m_mutex);
    if (position(name.in()) != m_plugins.end()) throw CORBA::BAD_PARAM(0, CORBA::COMPLETED_NO);
    m_plugins.emplace_back(name.in(), which);
  }

  void unregister_plugin(const char* name) override {
    const QZ_MutexLock lock(m_mutex);
    const auto found = position(name);
    if (found != m_plugins.end()) m_plugins.erase(found);
  }

  PlugIn_ptr find(const char* name) override {
    const QZ_MutexLock lock(m_mutex);
    const auto found = position(name);
    return found == m_plugins.end() ? PlugIn::_nil() : PlugIn::_duplicate(found->second);
  }

  PlugInList* list() override {
    PlugInList_var result = new PlugInList;
    const QZ_MutexLock lock(m_mutex);
    result->length(static_cast<CORBA::ULong>(m_plugins.size()));
    for (CORBA::ULong i = 0; i < result->length(); ++i) result[i] = PlugIn::_duplicate(m_plugins[i].second);
    return result._retn();
  }

 private:
  // Borrowed, not duplicated: a plug-in is a static object of its library, and unregisters itself when it goes.
  using Plugins = std::vector<std::pair<std::string, PlugIn_ptr>>;

  Plugins::iterator position(const char* name) REQUIRES(m_mutex) {
    return std::find_if(m_plugins.begin(), m_plugins.end(), [&](const auto& entry) { return entry.first == name; });
  }

  QZ_Mutex m_mutex;
  Plugins m_plugins GUARDED_BY(m_mutex);  // in the order of registration
};

}  // namespace

PlugInManager_ptr plugin_manager() {
  // Never deleted: libraries unregister from their static destructors, in no known order.
  static PlugInManagerImpl* const manager = new PlugInManagerImpl;
  return PlugInManager::_duplicate(manager);
}

}  // namespace QZ_PlugIn
