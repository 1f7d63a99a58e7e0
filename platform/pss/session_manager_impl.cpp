#include "platform/pss/session_manager_impl.h"

#include "platform/pss/raise.h"
#include "platform/pss/store.h"

namespace QZ_PSS {

SessionManagerImpl* SessionManagerImpl::open(const std::string& url, const StoreOptions& options) {
  return new SessionManagerImpl(std::make_shared<Store>(url, options));
}

SessionManagerImpl::SessionManagerImpl(std::shared_ptr<Store> store) : m_store(std::move(store)) {}
SessionManagerImpl::~SessionManagerImpl() = default;

void SessionManagerImpl::flush() {}

void SessionManagerImpl::register_home(const std::string& home_type_id, const StorageType& type,
                                       HomeFactory home_factory, ObjectFactory object_factory) {
  m_store->register_home(home_type_id, type, std::move(home_factory), std::move(object_factory));
}

const std::string& SessionManagerImpl::url() const {
  return m_store->url();
}

SessionManagerImpl& implementation(SessionManager_ptr session_manager) {
  auto* found = CORBA::is_nil(session_manager) ? nullptr : dynamic_cast<SessionManagerImpl*>(session_manager);
  if (!found) raise<CORBA::BAD_PARAM>(MINOR_BAD_MANAGER, minor_text(MINOR_BAD_MANAGER));
  return *found;
}

}  // namespace QZ_PSS
