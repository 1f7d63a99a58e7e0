// The store itself: opens it, and knows which homes it has.
#pragma once

#include <omniORB4/CORBA.h>

#include <chrono>
#include <functional>
#include <memory>
#include <qz_pss.hh>
#include <string>
#include <type_traits>

#include "platform/orb/ref_counted_local_object.h"
#include "platform/pss/storage_home.h"
#include "platform/pss/storage_type.h"

namespace QZ_PSS {

class Store;

struct StoreOptions {
  // How long a locked store is waited for before TRANSIENT with MINOR_LOCKED.
  std::chrono::milliseconds busy_timeout{5000};
  // Connections kept open for reuse; more are opened while more threads are at work.
  std::size_t idle_connections = 8;
  // Needed by members that are CORBA object references.
  CORBA::ORB_var orb;
};

using HomeFactory = std::function<CosPersistentState::StorageHomeBase*()>;
using ObjectFactory = std::function<CosPersistentState::StorageObject*()>;

// Safe from any thread.
class SessionManagerImpl : public virtual SessionManager, public QZ_CORBA::RefCountedLocalObject {
 public:
  // url: "sqlite:///absolute/path/state.db". The file is created when it is not there, its folder is not.
  // OpenError when the URL is of no known form, the file cannot be opened or is no store, its schema is newer than this
  // program, or it stays locked for the busy time-out. The caller owns the result.
  static SessionManagerImpl* open(const std::string& url, const StoreOptions& options = {});

  // Nothing is held back beyond a commit: does nothing.
  void flush() override;

  // Makes home_type_id known and creates or extends its table, which belongs to that id alone. At start, before the
  // first use, on a thread without a store transaction. Again with the same type: does nothing.
  // BAD_PARAM with MINOR_BAD_DECLARATION (and last_error() saying why) when the id is registered for another type,
  // when the stored records are of another type or have members that this declaration does not have, or when the
  // declaration itself is invalid. TRANSIENT, PERSIST_STORE as usual.
  void register_home(const std::string& home_type_id, const StorageType& type, HomeFactory home_factory,
                     ObjectFactory object_factory);

  const std::string& url() const;
  const std::shared_ptr<Store>& store() const { return m_store; }

 private:
  explicit SessionManagerImpl(std::shared_ptr<Store> store);
  ~SessionManagerImpl() override;

  const std::shared_ptr<Store> m_store;
};

// The implementation behind a session manager; BAD_PARAM when it is nil or another's.
SessionManagerImpl& implementation(SessionManager_ptr session_manager);

// Registers Home (with its storage type Home::Data) under home_type_id; see SessionManagerImpl::register_home.
template <class Home>
void register_home(SessionManager_ptr session_manager, const std::string& home_type_id) {
  using Data = typename Home::Data;
  implementation(session_manager)
      .register_home(home_type_id, Data::storage_type(), [] { return new Home; }, [] { return new Data; });
}

}  // namespace QZ_PSS
