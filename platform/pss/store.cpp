#include "platform/pss/store.h"

#include "platform/pss/home_catalogue.h"
#include "platform/pss/raise.h"
#include "platform/pss/schema.h"
#include "platform/pss/store_transaction.h"
#include "platform/pss/store_url.h"
#include "platform/transactions/transaction.h"

namespace QZ_PSS {

Store::Store(const std::string& url, const StoreOptions& options) : m_url(url), m_options(options) {
  m_connections = std::make_unique<ConnectionPool>(store_file(url), options.busy_timeout, options.idle_connections);
  try {
    std::unique_ptr<Connection> connection = m_connections->take();
    migrate(*connection, store_migrations(), options.busy_timeout);
    m_connections->give_back(std::move(connection));
  } catch (const CORBA::SystemException&) {
    throw OpenError("cannot open the store \"" + url + "\": " + last_error());
  } catch (const SchemaError& error) {
    throw OpenError("cannot open the store \"" + url + "\": " + error.what());
  }
}

void Store::register_home(const std::string& home_type_id, const StorageType& type, HomeFactory home_factory,
                          ObjectFactory object_factory) {
  if (const HomeTable* known = find_home(home_type_id)) {
    if (known->type.repository_id() == type.repository_id()) return;
    raise<CORBA::BAD_PARAM>(MINOR_BAD_DECLARATION,
                            "home " + home_type_id + " is registered for storage type " + known->type.repository_id());
  }
  // It would wait for its own thread's write turn.
  const Transaction* transaction = Transaction::of_this_thread();
  if (transaction && transaction->resource())
    raise<CORBA::BAD_INV_ORDER>(MINOR_IN_TRANSACTION, minor_text(MINOR_IN_TRANSACTION));

  const std::shared_ptr<StoreTransaction> work = StoreTransaction::begin(shared_from_this(), true);
  const CatalogueEntry entry = enter_in_catalogue(*work, home_type_id, type);
  work->commit();

  auto home = std::make_unique<const HomeTable>(home_type_id, entry.number, entry.table, type, std::move(home_factory),
                                                std::move(object_factory));
  QZ_MutexLock lock(m_mutex);
  // Another thread may have been faster with the same declaration.
  m_homes.try_emplace(home_type_id, std::move(home));
}

const HomeTable* Store::find_home(const std::string& home_type_id) const {
  QZ_MutexLock lock(m_mutex);
  const auto found = m_homes.find(home_type_id);
  return found == m_homes.end() ? nullptr : found->second.get();
}

const HomeTable* Store::find_home(long long number) const {
  QZ_MutexLock lock(m_mutex);
  for (const auto& [id, home] : m_homes)
    if (home->number == number) return home.get();
  return nullptr;
}

}  // namespace QZ_PSS
