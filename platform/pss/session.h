// What an association works through: its homes and the records that references name.
#pragma once

#include <omniORB4/CORBA.h>

#include <map>
#include <memory>
#include <qz_pss.hh>
#include <string>

#include "platform/base/qz_handle.h"

namespace CosPersistentState {
class StorageHomeBase;
class StorageObject;
}  // namespace CosPersistentState

namespace QZ_PSS {

class HomeContext;
class WorkUnit;

// Owned by its association and used by that association's thread. BAD_INV_ORDER after the association's end.
class Session {
 public:
  Session(std::shared_ptr<WorkUnit> unit, bool writable);
  ~Session();
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  // As TxSessionAssociation::find_storage_home.
  CosPersistentState::StorageHomeBase* find_storage_home(const char* type_id);

  // The record that a reference names; see StorageRef::from_any.
  QZ_Handle<CosPersistentState::StorageObject> resolve(const CORBA::Any& value);
  QZ_Handle<CosPersistentState::StorageObject> resolve(const StorageObjectReference& value);

  // Writes are never held back: nothing to do.
  void flush() {}

 private:
  friend class TxSessionAssociation;
  friend class Statement;

  const std::shared_ptr<HomeContext>& context(const std::string& home_type_id);
  void end();

  std::shared_ptr<WorkUnit> m_unit;  // null once ended
  bool m_writable;
  std::map<std::string, QZ_Handle<CosPersistentState::StorageHomeBase>, std::less<>> m_homes;
};

}  // namespace QZ_PSS
