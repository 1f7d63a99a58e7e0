#include "platform/pss/storage_type.h"

#include <cstring>

#include "platform/pss/raise.h"

namespace QZ_PSS {

StorageType::StorageType(const char* repository_id, const char* local_name, const Member& key,
                         std::vector<Member> members)
    : m_repository_id(repository_id), m_local_name(local_name), m_base(nullptr), m_members(std::move(members)) {
  m_key_index = index_of(key);
}

StorageType::StorageType(const char* repository_id, const char* local_name, const StorageType& base,
                         std::vector<Member> members)
    : m_repository_id(repository_id),
      m_local_name(local_name),
      m_base(&base),
      m_members(base.m_members),
      m_key_index(base.m_key_index) {
  m_members.insert(m_members.end(), members.begin(), members.end());
}

bool StorageType::is_a(const std::string& repository_id) const {
  return m_repository_id == repository_id || (m_base && m_base->is_a(repository_id));
}

std::size_t StorageType::index_of(const Member& member) const {
  for (std::size_t i = 0; i < m_members.size(); ++i)
    if (m_members[i].name == member.name) return i;
  // The same text may have several addresses.
  for (std::size_t i = 0; i < m_members.size(); ++i)
    if (std::strcmp(m_members[i].name, member.name) == 0 && m_members[i].kind == member.kind) return i;
  raise<CORBA::BAD_PARAM>(MINOR_BAD_DECLARATION,
                          m_local_name + " has no member \"" + std::string(member.name) + "\" of that kind");
}

}  // namespace QZ_PSS
