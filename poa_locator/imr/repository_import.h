// An import of entries into the repository of POAs. The same walk over them checks them, and writes them.
//
// No mutex is held: writing is alone because it has the store's write turn. Whoever waits for that turn with the
// registry's mutex held is served afterwards.
#pragma once

#include <qz_imr_internal.hh>

#include <string>
#include <unordered_set>

#include "platform/pss/tx_session_association.h"
#include "poa_locator/idl/poa_imr_store.h"

class EndpointRegistry;

// Used once, by one thread. What it raises beyond what the store does: INTERNAL 0x515A0C05 when the listener cancels.
class RepositoryImport {
 public:
  // Keeps nothing beyond run(). The entries written are not reported one by one: there may be very many.
  RepositoryImport(EndpointRegistry& registry, QZ_IMRAdmin::ImportMode mode,
                   QZ_IMRInternal::ImportListener_ptr listener)
      : m_registry(registry), m_mode(mode), m_listener(listener) {}
  RepositoryImport(const RepositoryImport&) = delete;
  RepositoryImport& operator=(const RepositoryImport&) = delete;

  // write: in the calling thread's transaction.
  QZ_IMRInternal::ImportCounts run(QZ_IMRInternal::POAEntrySource_ptr entries, bool write);

 private:
  using Entry = QZ_IMRAdmin::POAEntry;

  void take(const Entry& entry);
  // Empty: the entry can be as it is.
  std::string flaw(const Entry& entry) const;
  void update(const QZ_PoaImrStore::NamespaceDataRef& data, const Entry& entry);
  void create(const CORBA::OctetSeq& id, const Entry& entry);
  bool find_parent(const CORBA::OctetSeq& id);
  void problem(const Entry& entry, const std::string& reason);

  EndpointRegistry& m_registry;
  const QZ_IMRAdmin::ImportMode m_mode;
  const QZ_IMRInternal::ImportListener_ptr m_listener;
  bool m_write = false;
  QZ_PoaImrStore::NamespaceHome* m_home = nullptr;
  QZ_IMRInternal::ImportCounts m_counts{};
  // Checking: the entries so far, as octets of their ids.
  std::unordered_set<std::string> m_seen;
  // That of the latest entry, because the next one mostly has the same.
  std::string m_parent_id;
  QZ_PoaImrStore::NamespaceDataRef m_parent;
};
