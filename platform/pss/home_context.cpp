#include "platform/pss/home_context.h"

#include <charconv>
#include <iterator>
#include <string_view>

#include "platform/pss/raise.h"

namespace QZ_PSS {

namespace {

[[noreturn]] void raise_unreadable() {
  raise<CORBA::PERSIST_STORE>(MINOR_BAD_RECORD, "a stored object reference cannot be read");
}

}  // namespace

using CosPersistentState::StorageHomeBase;
using CosPersistentState::StorageObject;

void HomeContext::raise_gone() {
  raise<CORBA::OBJECT_NOT_EXIST>(MINOR_RECORD_GONE, minor_text(MINOR_RECORD_GONE));
}

QZ_Handle<StorageHomeBase> HomeContext::make_home() {
  QZ_Handle<StorageHomeBase> home(m_table.home_factory());
  home->m_context = shared_from_this();
  return home;
}

const std::shared_ptr<HomeContext>& HomeContext::of(const StorageHomeBase& home) {
  return home.m_context;
}

QZ_Handle<StorageObject> HomeContext::make_object(long long seq) {
  QZ_Handle<StorageObject> object(m_table.object_factory());
  object->m_context = shared_from_this();
  object->m_seq = seq;
  return object;
}

QZ_Handle<StorageObject> HomeContext::object_of(Fields& row) {
  QZ_Handle<StorageObject> object = make_object(row[0].number);
  object->m_fields.assign(std::make_move_iterator(row.begin() + 1), std::make_move_iterator(row.end()));
  object->m_loaded_at = changes();
  return object;
}

QZ_Handle<StorageObject> HomeContext::find(const std::string& key) {
  QZ_Handle<StorageObject> object;
  m_unit->execute(m_table.find, {text_field(key)}, [&](Fields& row) { object = object_of(row); });
  return object;
}

QZ_Handle<StorageObject> HomeContext::create(Fields fields, const std::vector<std::vector<std::string>>& lists) {
  long long seq = 0;
  write(m_table.insert, fields, [&](const Fields& row) { seq = row[0].number; });
  if (seq == 0) raise<CORBA::PERSIST_STORE>(MINOR_ALREADY_EXISTS, minor_text(MINOR_ALREADY_EXISTS));
  for (std::size_t i = 0; i < lists.size(); ++i) insert_items(seq, i, lists[i]);
  QZ_Handle<StorageObject> object = make_object(seq);
  object->m_fields = std::move(fields);
  object->m_loaded_at = changes();
  return object;
}

std::optional<Fields> HomeContext::load(long long seq) {
  std::optional<Fields> fields;
  m_unit->execute(m_table.load, {number_field(seq)},
                  [&](const Fields& row) { fields.emplace(row.begin() + 1, row.end()); });
  return fields;
}

void HomeContext::update(long long seq, std::size_t member, Field value) {
  if (member == m_table.type.key_index())
    raise<CORBA::BAD_PARAM>(MINOR_BAD_DECLARATION, "the key of a record cannot be changed");
  if (write(m_table.update[member], {std::move(value), number_field(seq)}) == 0) raise_gone();
}

void HomeContext::destroy(long long seq) {
  // The elements of its lists go with it.
  if (write(m_table.destroy, {number_field(seq)}) == 0) raise_gone();
}

std::vector<std::string> HomeContext::read_list(long long seq, std::size_t member) {
  std::vector<std::string> items;
  m_unit->execute(m_table.list[member].read, {number_field(seq)},
                  [&](const Fields& row) { items.push_back(row[0].text); });
  // An empty list and one whose record has gone look the same.
  if (items.empty() && !load(seq)) raise_gone();
  return items;
}

void HomeContext::replace_list(long long seq, std::size_t member, const std::vector<std::string>& items) {
  const Field length = number_field(static_cast<long long>(items.size()));
  if (write(m_table.update[member], {length, number_field(seq)}) == 0) raise_gone();
  write(m_table.list[member].clear, {number_field(seq)});
  insert_items(seq, member, items);
}

void HomeContext::append(long long seq, std::size_t member, const std::string& item) {
  const ListSql& sql = m_table.list[member];
  if (write(sql.add_to_count, {number_field(1), number_field(seq)}) == 0) raise_gone();
  write(sql.append, {number_field(seq), number_field(seq), text_field(item)});
}

bool HomeContext::remove(long long seq, std::size_t member, const std::string& item) {
  const ListSql& sql = m_table.list[member];
  if (write(sql.remove, {number_field(seq), number_field(seq), text_field(item)}) == 0) {
    if (!load(seq)) raise_gone();
    return false;
  }
  write(sql.add_to_count, {number_field(-1), number_field(seq)});
  return true;
}

long long HomeContext::number_of_records() {
  long long number = 0;
  m_unit->execute(m_table.count, {}, [&](const Fields& row) { number = row.front().number; });
  return number;
}

std::vector<QZ_Handle<StorageObject>> HomeContext::page(long long& after) {
  std::vector<QZ_Handle<StorageObject>> result;
  m_unit->execute(m_table.page, {number_field(after)}, [&](Fields& row) { result.push_back(object_of(row)); });
  if (!result.empty()) after = result.back()->m_seq;
  return result;
}

std::string HomeContext::reference_text(long long seq) const {
  return std::to_string(m_table.number) + ":" + std::to_string(seq);
}

QZ_Handle<StorageObject> HomeContext::referred(const std::string& text) {
  if (text.empty()) return {};
  long long home = 0;
  long long seq = 0;
  const char* end = text.data() + text.size();
  const auto [colon, home_error] = std::from_chars(text.data(), end, home);
  if (home_error != std::errc() || colon == end || *colon != ':')
    raise<CORBA::PERSIST_STORE>(MINOR_BAD_RECORD, "a stored reference cannot be read: " + text);
  const auto [stop, seq_error] = std::from_chars(colon + 1, end, seq);
  if (seq_error != std::errc() || stop != end)
    raise<CORBA::PERSIST_STORE>(MINOR_BAD_RECORD, "a stored reference cannot be read: " + text);
  if (home == m_table.number) return make_object(seq);
  const HomeTable* table = m_unit->store().find_home(home);
  if (!table) raise<CORBA::PERSIST_STORE>(MINOR_BAD_RECORD, "a stored reference names a home that is not registered");
  return std::make_shared<HomeContext>(m_unit, m_writable, *table)->make_object(seq);
}

CORBA::ORB_ptr HomeContext::orb() const {
  CORBA::ORB_ptr orb = m_unit->store().options().orb.in();
  if (CORBA::is_nil(orb)) raise<CORBA::BAD_INV_ORDER>(MINOR_NO_ORB, minor_text(MINOR_NO_ORB));
  return orb;
}

std::string HomeContext::object_text(CORBA::Object_ptr object) const {
  if (CORBA::is_nil(object)) return {};
  CORBA::String_var text = orb()->object_to_string(object);
  return text.in();
}

CORBA::Object_ptr HomeContext::object_from(const std::string& text) const {
  if (text.empty()) return CORBA::Object::_nil();
  CORBA::ORB_ptr the_orb = orb();
  try {
    return the_orb->string_to_object(text.c_str());
  } catch (const CORBA::SystemException&) {
    raise_unreadable();
  }
}

QZ_CORBA::PackedReference HomeContext::packed_from(const std::string& text) {
  constexpr std::string_view PREFIX = "IOR:";
  if (text.empty()) return {};
  if (!text.starts_with(PREFIX)) raise_unreadable();
  const CORBA::OctetSeq octets = from_hex(std::string_view(text).substr(PREFIX.size()));
  try {
    return QZ_CORBA::PackedReference({octets.get_buffer(), octets.length()});
  } catch (const CORBA::SystemException&) {
    raise_unreadable();
  }
}

void HomeContext::insert_items(long long seq, std::size_t member, const std::vector<std::string>& items) {
  long long position = 0;
  for (const std::string& item : items)
    write(m_table.list[member].insert, {number_field(seq), number_field(++position), text_field(item)});
}

long long HomeContext::write(const Sql& sql, const Fields& params, const RowHandler& on_row) {
  if (!m_writable) raise<CORBA::TRANSACTION_REQUIRED>(MINOR_READ_ONLY, minor_text(MINOR_READ_ONLY));
  const long long affected = m_unit->execute(sql, params, on_row);
  m_unit->changed();
  return affected;
}

}  // namespace QZ_PSS
