// What a storage type consists of. Declared once; its table, columns and home follow from it.
#pragma once

#include <string>
#include <vector>

#include "platform/pss/member.h"

namespace QZ_PSS {

// Immutable; safe from any thread. Must live as long as any store that it is registered with (make it static).
// Members may be added at the end of a type in a later release: stored records then read as 0, "", nil or empty
// list. They may never be removed, renamed or given another kind.
class StorageType {
 public:
  // key: one of the members, of kind octets or string. repository_id as in "PSDL:QZ_PoaImrStore/NamespaceData:1.0".
  StorageType(const char* repository_id, const char* local_name, const Member& key, std::vector<Member> members);
  // A derived type: the base's members and key, then its own members.
  StorageType(const char* repository_id, const char* local_name, const StorageType& base, std::vector<Member> members);

  const std::string& repository_id() const { return m_repository_id; }
  const std::string& local_name() const { return m_local_name; }
  const StorageType* base() const { return m_base; }
  // True for its own repository id and for those of its bases.
  bool is_a(const std::string& repository_id) const;

  // The base's members first.
  const std::vector<Member>& members() const { return m_members; }
  std::size_t key_index() const { return m_key_index; }
  // CORBA::BAD_PARAM when the type has no such member.
  std::size_t index_of(const Member& member) const;

 private:
  std::string m_repository_id;
  std::string m_local_name;
  const StorageType* m_base;
  std::vector<Member> m_members;
  std::size_t m_key_index = 0;
};

}  // namespace QZ_PSS
