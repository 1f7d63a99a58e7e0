#include "platform/pss/storage_home.h"

#include "platform/pss/home_context.h"

namespace CosPersistentState {

const char* StorageHomeBase::home_type_id() const {
  return m_context->table().home_type_id.c_str();
}
const QZ_PSS::StorageType& StorageHomeBase::storage_type() const {
  return m_context->table().type;
}

unsigned long long StorageHomeBase::number_of_records() const {
  return static_cast<unsigned long long>(m_context->number_of_records());
}

QZ_Handle<StorageObject> StorageHomeBase::find_object(const std::string& key) const {
  QZ_Handle<StorageObject> object = m_context->find(key);
  if (object.is_null()) throw NotFound();
  return object;
}

QZ_Handle<StorageObject> StorageHomeBase::create_record(std::initializer_list<Initial> values) {
  const QZ_PSS::StorageType& type = storage_type();
  QZ_PSS::Fields fields(type.members().size());
  std::vector<std::vector<std::string>> lists(fields.size());
  for (const Initial& value : values) {
    const std::size_t index = type.index_of(value.member);
    fields[index] = value.field;
    if (value.member.kind == QZ_PSS::Kind::object) fields[index].text = m_context->object_text(value.object.in());
    if (QZ_PSS::is_list(value.member.kind)) {
      lists[index] = value.items;
      fields[index].number = static_cast<long long>(value.items.size());
    }
  }
  return m_context->create(std::move(fields), lists);
}

}  // namespace CosPersistentState
