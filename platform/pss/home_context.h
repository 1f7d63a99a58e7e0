// A home's table as one session works on it: what homes, storage objects and result sets are made of.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <qz_pss.hh>
#include <string>
#include <vector>

#include "platform/base/qz_handle.h"
#include "platform/pss/home_table.h"
#include "platform/pss/storage_home.h"
#include "platform/pss/storage_object.h"
#include "platform/pss/work_unit.h"

namespace QZ_PSS {

// Used by the session's thread. seq: a record's sequence number in its table.
class HomeContext : public std::enable_shared_from_this<HomeContext> {
 public:
  HomeContext(std::shared_ptr<WorkUnit> unit, bool writable, const HomeTable& table)
      : m_unit(std::move(unit)), m_writable(writable), m_table(table) {}

  const HomeTable& table() const { return m_table; }
  std::uint64_t changes() const { return m_unit->changes(); }
  // BAD_INV_ORDER once the session's work has ended.
  void check_open() const { m_unit->check_open(); }

  QZ_Handle<CosPersistentState::StorageHomeBase> make_home();
  static const std::shared_ptr<HomeContext>& of(const CosPersistentState::StorageHomeBase& home);
  // A storage object that has read nothing yet.
  QZ_Handle<CosPersistentState::StorageObject> make_object(long long seq);
  // Null when no record has the key.
  QZ_Handle<CosPersistentState::StorageObject> find(const std::string& key);
  // fields: one for each member, for a list its length; lists: the lists' elements, empty for others.
  QZ_Handle<CosPersistentState::StorageObject> create(Fields fields,
                                                      const std::vector<std::vector<std::string>>& lists);

  // One field for each member; nothing when the record has gone.
  std::optional<Fields> load(long long seq);
  void update(long long seq, std::size_t member, Field value);
  void destroy(long long seq);
  std::vector<std::string> read_list(long long seq, std::size_t member);
  void replace_list(long long seq, std::size_t member, const std::vector<std::string>& items);
  void append(long long seq, std::size_t member, const std::string& item);
  bool remove(long long seq, std::size_t member, const std::string& item);
  long long number_of_records();
  // The records that follow, with their members, in order; empty at the end. after moves on to the last of them.
  std::vector<QZ_Handle<CosPersistentState::StorageObject>> page(long long& after);

  // Stored references: "<number of the home>:<sequence number>", empty for nil.
  std::string reference_text(long long seq) const;
  QZ_Handle<CosPersistentState::StorageObject> referred(const std::string& text);

  // Stored object references: stringified, empty for nil.
  std::string object_text(CORBA::Object_ptr object) const;
  CORBA::Object_ptr object_from(const std::string& text) const;
  static QZ_CORBA::PackedReference packed_from(const std::string& text);

  [[noreturn]] static void raise_gone();

 private:
  // row: sequence number and members, which are moved out of it.
  QZ_Handle<CosPersistentState::StorageObject> object_of(Fields& row);
  CORBA::ORB_ptr orb() const;
  void insert_items(long long seq, std::size_t member, const std::vector<std::string>& items);
  long long write(const Sql& sql, const Fields& params, const RowHandler& on_row = {});

  const std::shared_ptr<WorkUnit> m_unit;
  const bool m_writable;
  const HomeTable& m_table;
};

}  // namespace QZ_PSS
