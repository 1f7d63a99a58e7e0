// What the bare SQLite library needs for the work that the locator's store cannot do without.
#include <sqlite3.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
using Database = std::unique_ptr<sqlite3, decltype(&sqlite3_close)>;
using Statement = std::unique_ptr<sqlite3_stmt, decltype(&sqlite3_finalize)>;

Database open(const std::string& path, int flags) {
  sqlite3* database = nullptr;
  const int result = sqlite3_open_v2(path.c_str(), &database, flags, nullptr);
  Database owner(database, sqlite3_close);
  if (result != SQLITE_OK) throw std::runtime_error("cannot open " + path);
  return owner;
}

void execute(const Database& database, const char* sql) {
  if (sqlite3_exec(database.get(), sql, nullptr, nullptr, nullptr) != SQLITE_OK) {
    throw std::runtime_error(sqlite3_errmsg(database.get()));
  }
}

Statement prepare(const Database& database, const std::string& sql) {
  sqlite3_stmt* statement = nullptr;
  if (sqlite3_prepare_v2(database.get(), sql.c_str(), -1, &statement, nullptr) != SQLITE_OK) {
    throw std::runtime_error(sqlite3_errmsg(database.get()));
  }
  return {statement, sqlite3_finalize};
}

double seconds_since(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

// One row, one durable commit, again and again; with the settings that the locator uses.
nlohmann::json commit(const std::string& path, unsigned count) {
  const Database database = open(path, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
  execute(database, "pragma journal_mode=wal");
  execute(database, "pragma synchronous=full");
  execute(database, "create table entry (id text primary key, orb text not null)");
  const Statement insert = prepare(database, "insert into entry (id, orb) values (?, 'bench')");
  const auto start = Clock::now();
  for (unsigned i = 0; i < count; ++i) {
    const std::string id = "an identifier of about the usual length, number " + std::to_string(i);
    sqlite3_bind_text(insert.get(), 1, id.c_str(), -1, SQLITE_TRANSIENT);
    if (sqlite3_step(insert.get()) != SQLITE_DONE) throw std::runtime_error(sqlite3_errmsg(database.get()));
    sqlite3_reset(insert.get());
  }
  const double seconds = seconds_since(start);
  return {{"count", count}, {"seconds", seconds}, {"rate", count / seconds}};
}

std::vector<std::string> tables_of(const Database& database) {
  std::vector<std::string> names;
  const Statement select = prepare(database, "select name from sqlite_master where type = 'table'");
  while (sqlite3_step(select.get()) == SQLITE_ROW) {
    names.emplace_back(reinterpret_cast<const char*>(sqlite3_column_text(select.get(), 0)));
  }
  return names;
}

// Every column of every row of every table, but for those whose names begin so.
nlohmann::json read(const std::string& path, const std::vector<std::string>& without) {
  const auto start = Clock::now();
  const Database database = open(path, SQLITE_OPEN_READONLY);
  unsigned rows = 0;
  std::size_t octets = 0;
  for (const std::string& table : tables_of(database)) {
    const auto begins = [&](const std::string& prefix) { return table.starts_with(prefix); };
    if (std::any_of(without.begin(), without.end(), begins)) continue;
    const Statement select = prepare(database, "select * from \"" + table + "\"");
    while (sqlite3_step(select.get()) == SQLITE_ROW) {
      ++rows;
      for (int i = 0; i < sqlite3_column_count(select.get()); ++i) {
        sqlite3_column_text(select.get(), i);
        octets += static_cast<std::size_t>(sqlite3_column_bytes(select.get(), i));
      }
    }
  }
  return {{"rows", rows}, {"octets", octets}, {"seconds", seconds_since(start)}};
}

}  // namespace

int main(int argc, char** argv) {
  std::string path;
  unsigned commits = 1000;
  std::vector<std::string> without;
  CLI::App app("Measures the bare SQLite library.");
  app.require_subcommand(1);
  auto* commit_command = app.add_subcommand("commit", "Durable commits of one row each, into a new database");
  commit_command->add_option("file", path)->required();
  commit_command->add_option("--count", commits)->capture_default_str();
  auto* read_command = app.add_subcommand("read", "All rows of a database");
  read_command->add_option("file", path)->required();
  read_command->add_option("--without", without, "What the names of tables begin with that are not read");
  CLI11_PARSE(app, argc, argv);
  try {
    std::cout << (commit_command->parsed() ? commit(path, commits) : read(path, without)).dump() << std::endl;
    return 0;
  } catch (const std::exception& error) {
    std::cerr << "sqlite_baseline: " << error.what() << std::endl;
    return 1;
  }
}
