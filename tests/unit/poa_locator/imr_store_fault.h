// While it lives, the store refuses every insertion, change and deletion, in all tables or in those whose names are
// like the pattern. Done from outside, through its file.
#pragma once

#include <soci/soci.h>
#include <soci/sqlite3/soci-sqlite3.h>

#include <string>
#include <vector>

class StoreFault {
 public:
  // The store may be in the midst of a write of its own.
  explicit StoreFault(const std::string& file, const std::string& like = "%")
      : m_session(soci::sqlite3, "db=" + file + " timeout=30") {
    std::vector<std::string> tables;
    soci::rowset<std::string> rows = (m_session.prepare << "select name from sqlite_master where type = 'table' and "
                                                           "name not like 'sqlite_%' and name like :pattern",
                                      soci::use(like));
    for (const std::string& table : rows) tables.push_back(table);
    for (const std::string& table : tables) {
      for (const char* event : {"insert", "update", "delete"}) {
        const std::string name = "fault_" + std::to_string(m_triggers.size());
        m_session << "create trigger " + name + " before " + event + " on \"" + table +
                         "\" begin select raise(abort, 'injected'); end";
        m_triggers.push_back(name);
      }
    }
  }
  ~StoreFault() {
    for (const std::string& trigger : m_triggers) m_session << "drop trigger " + trigger;
  }
  StoreFault(const StoreFault&) = delete;
  StoreFault& operator=(const StoreFault&) = delete;

 private:
  soci::session m_session;
  std::vector<std::string> m_triggers;
};
