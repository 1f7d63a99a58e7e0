// The table of active ORBs, of every kind of object adapter.
#pragma once

#include <list>
#include <map>
#include <qz_locator_internal.hh>
#include <string>
#include <vector>

#include "platform/base/qz_mutex.h"
#include "platform/orb/ref_counted_local_object.h"

namespace poalocd {

// Safe from any thread. An ORB's name and process are taken when it is inserted; no other operation calls an ORB, as
// callers hold locks of their own.
class ActiveOrbRegistryImpl : public virtual QZ_LocatorInternal::ActiveORBRegistry,
                              public QZ_CORBA::RefCountedLocalObject {
 public:
  void insert(QZ_LocatorInternal::ActiveORB_ptr which) override;
  QZ_LocatorInternal::ActiveORB_ptr find(const char* name) override;
  CORBA::ULong number_of_entries() override;
  QZ_LocatorInternal::ActiveORBList* list() override;
  QZ_LocatorInternal::ActiveORBList* list_by_process(const char* process_name) override;
  void remove(const char* name) override;

  // Those behind that name, in the order of their names.
  std::vector<QZ_LocatorInternal::ActiveORB_var> page(const std::string& after, std::size_t how_many);

  void clear();

 private:
  struct Entry {
    std::string name;
    std::string process_name;
    QZ_LocatorInternal::ActiveORB_var orb;
  };
  using Entries = std::list<Entry>;

  template <class Condition>
  QZ_LocatorInternal::ActiveORBList* list_if(Condition condition);

  QZ_Mutex m_mutex;
  Entries m_entries GUARDED_BY(m_mutex);  // in the order of insertion
  std::map<std::string, Entries::iterator> m_by_name GUARDED_BY(m_mutex);
};

}  // namespace poalocd
