// A table of what registered itself under a name.
#pragma once

#include <omniORB4/CORBA.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "platform/base/qz_mutex.h"

namespace poalocd {

// Interface: a local interface. Few entries, in the order of their registration. Safe from any thread.
template <class Interface>
class NamedRegistry {
 public:
  // BAD_PARAM when the name is taken or the object nil.
  void insert(const char* name, typename Interface::_ptr_type object) {
    if (CORBA::is_nil(object)) throw CORBA::BAD_PARAM(0, CORBA::COMPLETED_NO);
    const QZ_MutexLock lock(m_mutex);
    for (const auto& entry : m_entries)
      if (entry.first == name) throw CORBA::BAD_PARAM(0, CORBA::COMPLETED_NO);
    m_entries.emplace_back(name, Interface::_duplicate(object));
  }

  // An unknown name is ignored.
  void erase(const char* name) {
    Entry last_reference;  // given up without the lock: the object may do anything when it goes
    const QZ_MutexLock lock(m_mutex);
    const auto found = std::find_if(m_entries.begin(), m_entries.end(), [&](const auto& e) { return e.first == name; });
    if (found == m_entries.end()) return;
    last_reference = *found;
    m_entries.erase(found);
  }

  std::vector<typename Interface::_var_type> list() const {
    const QZ_MutexLock lock(m_mutex);
    std::vector<typename Interface::_var_type> result;
    for (const auto& entry : m_entries) result.push_back(entry.second);
    return result;
  }

 private:
  using Entry = std::pair<std::string, typename Interface::_var_type>;

  mutable QZ_Mutex m_mutex;
  std::vector<Entry> m_entries GUARDED_BY(m_mutex);
};

}  // namespace poalocd
