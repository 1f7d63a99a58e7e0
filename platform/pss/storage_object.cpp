#include "platform/pss/storage_object.h"

#include "platform/pss/home_context.h"

namespace CosPersistentState {

StorageObject::StorageObject() = default;
StorageObject::~StorageObject() = default;

void StorageObject::destroy_object() {
  m_context->destroy(m_seq);
}

QZ_PSS::StorageObjectReference StorageObject::to_reference() const {
  QZ_PSS::StorageObjectReference reference;
  reference.home_type_id = m_context->table().home_type_id.c_str();
  reference.pid = std::to_string(m_seq).c_str();
  return reference;
}

bool StorageObject::exists() const {
  return m_context->load(m_seq).has_value();
}

const QZ_PSS::Field& StorageObject::field(const QZ_PSS::Member& member) const {
  load();
  return m_fields[m_context->table().type.index_of(member)];
}

QZ_Handle<StorageObject> StorageObject::referred(const QZ_PSS::Member& member) const {
  return m_context->referred(field(member).text);
}

CORBA::Object_ptr StorageObject::object_field(const QZ_PSS::Member& member) const {
  return m_context->object_from(field(member).text);
}

QZ_CORBA::PackedReference StorageObject::packed_field(const QZ_PSS::Member& member) const {
  return QZ_PSS::HomeContext::packed_from(field(member).text);
}

std::vector<std::string> StorageObject::list(const QZ_PSS::Member& member) const {
  return m_context->read_list(m_seq, m_context->table().type.index_of(member));
}

void StorageObject::set_field(const QZ_PSS::Member& member, QZ_PSS::Field value) {
  m_context->update(m_seq, m_context->table().type.index_of(member), std::move(value));
}

void StorageObject::set_object(const QZ_PSS::Member& member, CORBA::Object_ptr value) {
  set_field(member, {m_context->object_text(value), 0});
}

void StorageObject::replace_list(const QZ_PSS::Member& member, const std::vector<std::string>& items) {
  m_context->replace_list(m_seq, m_context->table().type.index_of(member), items);
}

void StorageObject::append_item(const QZ_PSS::Member& member, const std::string& item) {
  m_context->append(m_seq, m_context->table().type.index_of(member), item);
}

bool StorageObject::remove_item(const QZ_PSS::Member& member, const std::string& item) {
  return m_context->remove(m_seq, m_context->table().type.index_of(member), item);
}

std::string StorageObject::reference_text(const StorageObject* object) {
  return object ? object->m_context->reference_text(object->m_seq) : std::string();
}

void StorageObject::load() const {
  m_context->check_open();
  if (!m_fields.empty() && m_loaded_at == m_context->changes()) return;
  std::optional<QZ_PSS::Fields> fields = m_context->load(m_seq);
  if (!fields) QZ_PSS::HomeContext::raise_gone();
  m_fields = std::move(*fields);
  m_loaded_at = m_context->changes();
}

}  // namespace CosPersistentState
