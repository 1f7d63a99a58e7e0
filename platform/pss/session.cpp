#include "platform/pss/session.h"

#include <charconv>

#include "platform/pss/home_context.h"
#include "platform/pss/raise.h"

namespace QZ_PSS {

using CosPersistentState::StorageHomeBase;
using CosPersistentState::StorageObject;

Session::Session(std::shared_ptr<WorkUnit> unit, bool writable) : m_unit(std::move(unit)), m_writable(writable) {}
Session::~Session() {
  end();
}

StorageHomeBase* Session::find_storage_home(const char* type_id) {
  if (!m_unit) raise<CORBA::BAD_INV_ORDER>(MINOR_SESSION_ENDED, minor_text(MINOR_SESSION_ENDED));
  if (!type_id) throw CosPersistentState::NotFound();
  const auto known = m_homes.find(type_id);
  if (known != m_homes.end()) return known->second.operator->();
  const HomeTable* table = m_unit->store().find_home(type_id);
  if (!table) throw CosPersistentState::NotFound();
  const auto context = std::make_shared<HomeContext>(m_unit, m_writable, *table);
  return m_homes.emplace(type_id, context->make_home()).first->second.operator->();
}

const std::shared_ptr<HomeContext>& Session::context(const std::string& home_type_id) {
  return HomeContext::of(*find_storage_home(home_type_id.c_str()));
}

QZ_Handle<StorageObject> Session::resolve(const CORBA::Any& value) {
  const StorageObjectReference* reference = nullptr;
  const bool holds_reference = value >>= reference;
  if (!holds_reference) raise<CORBA::BAD_PARAM>(MINOR_BAD_REFERENCE, "the any holds no reference to a storage object");
  return resolve(*reference);
}

QZ_Handle<StorageObject> Session::resolve(const StorageObjectReference& value) {
  const std::string pid = value.pid.in();
  long long seq = 0;
  const auto [stop, error] = std::from_chars(pid.data(), pid.data() + pid.size(), seq);
  if (error != std::errc() || stop != pid.data() + pid.size())
    raise<CORBA::BAD_PARAM>(MINOR_BAD_REFERENCE, "not the identifier of a record: " + pid);
  try {
    return context(value.home_type_id.in())->make_object(seq);
  } catch (const CosPersistentState::NotFound&) {
    raise<CORBA::BAD_PARAM>(MINOR_BAD_REFERENCE, "a reference names a home that is not registered");
  }
}

void Session::end() {
  if (!m_unit) return;
  m_homes.clear();
  m_unit->end();
  m_unit.reset();
}

}  // namespace QZ_PSS
