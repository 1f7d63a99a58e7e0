// Active endpoints by id. Its user guards it.
#pragma once

#include "platform/base/qz_hash_map.h"
#include "platform/base/qz_octet_seq_hash.h"
#include "platform/base/qz_vector.h"
#include "poa_locator/locator/active_endpoint.h"

// No id is kept twice: the keys are the addresses of the ids that the endpoints in the table keep themselves.
class ActiveEndpointTable {
 public:
  std::size_t size() const { return m_map.size(); }
  bool empty() const { return m_map.empty(); }

  // False when one of that id is there, which stays.
  bool insert(const ActiveEndpoint& endpoint) { return m_map.insert(&endpoint.id(), endpoint); }
  // Null when there is none.
  const ActiveEndpoint* find(const CORBA::OctetSeq& id) const { return m_map.find(&id); }
  bool erase(const CORBA::OctetSeq& id) { return m_map.erase(&id); }
  void clear() { m_map.clear(); }

  // A snapshot in the table's order.
  QZ_Vector<ActiveEndpoint> list() const {
    QZ_Vector<ActiveEndpoint> endpoints;
    endpoints.reserve(m_map.size());
    for (const auto& entry : m_map) endpoints.push_back(entry.value);
    return endpoints;
  }
  // Of the endpoints in the table's order, up to the first that does: whether there is one.
  template <class Condition>
  bool any_of(Condition condition) const {
    for (const auto& entry : m_map)
      if (condition(entry.value)) return true;
    return false;
  }

 private:
  using Key = const CORBA::OctetSeq*;
  struct KeyHash {
    std::size_t operator()(Key id) const { return QZ_Cxx_OctetSeqHash<CORBA::OctetSeq>()(*id); }
  };
  struct KeyEqual {
    bool operator()(Key a, Key b) const { return QZ_Cxx_OctetSeqEqual<CORBA::OctetSeq>()(*a, *b); }
  };

  QZ_HashMap<Key, ActiveEndpoint, KeyHash, KeyEqual> m_map;
};
