#include <gmock/gmock.h>
#include <soci/soci.h>
#include <soci/sqlite3/soci-sqlite3.h>

#include <filesystem>
#include <fstream>

#include "platform/pss/schema.h"
#include "tests/unit/platform/pss/store_test.h"

namespace Example {
namespace {

using testing::HasSubstr;

class OpenTest : public StoreTest {
 protected:
  // What the failure to open the URL says.
  std::string refusal(const std::string& some_url) {
    try {
      QZ_PSS::SessionManager_var opened = QZ_PSS::SessionManagerImpl::open(some_url, short_wait());
    } catch (const QZ_PSS::OpenError& error) {
      return error.what();
    }
    ADD_FAILURE() << "opened " << some_url;
    return "";
  }

  static QZ_PSS::StoreOptions short_wait() {
    QZ_PSS::StoreOptions options;
    options.busy_timeout = std::chrono::milliseconds(50);
    return options;
  }

  void run_sql(const std::string& statement) {
    soci::session session(soci::sqlite3, "dbname=\"" + file() + "\"");
    session << statement;
  }
};

TEST_F(OpenTest, makes_the_file_in_an_existing_folder) {
  open();
  EXPECT_TRUE(std::filesystem::exists(file()));
  EXPECT_EQ(QZ_PSS::implementation(manager()).url(), url());
}

TEST_F(OpenTest, keeps_records_over_a_new_start) {
  open();
  add_name(1);
  reopen();
  EXPECT_TRUE(has_name(1));
}

TEST_F(OpenTest, refuses_urls_of_no_known_form) {
  for (const std::string& bad : {std::string(), file(), "sqlite:" + file(), std::string("sqlite://relative.db"),
                                 "mysql://" + file(), "sqlite://" + dir() + "/", "sqlite://" + dir() + "/a\"b.db"}) {
    EXPECT_THAT(refusal(bad), HasSubstr("\"" + bad + "\""));
  }
}

TEST_F(OpenTest, names_the_url_that_cannot_be_opened) {
  const std::string missing = "sqlite://" + dir() + "/missing/state.db";
  EXPECT_THAT(refusal(missing), AllOf(HasSubstr(missing), HasSubstr("unable to open")));
  const std::string folder = "sqlite://" + dir();
  EXPECT_THAT(refusal(folder), HasSubstr(folder));
}

TEST_F(OpenTest, refuses_a_file_that_is_no_database) {
  const std::string text(10000, 'x');
  std::ofstream(file()) << text;
  EXPECT_THAT(refusal(url()), AllOf(HasSubstr(url()), HasSubstr("not a database")));
  EXPECT_EQ(std::filesystem::file_size(file()), text.size());
}

TEST_F(OpenTest, reports_a_damaged_page_when_it_is_read) {
  open();
  for (unsigned i = 0; i < 200; ++i) add_name(i);
  close();
  {
    std::fstream damage(file(), std::ios::in | std::ios::out | std::ios::binary);
    damage.seekp(12288);
    for (int i = 0; i < 4096 * 20; ++i) damage.put('\x5a');
  }
  CORBA::ULong minor = 0;
  try {
    open();
    all_names();
    ADD_FAILURE() << "read damaged pages";
  } catch (const CORBA::PERSIST_STORE& ex) {
    minor = ex.minor();
  }
  EXPECT_EQ(minor, QZ_PSS::MINOR_CORRUPT);
  EXPECT_THAT(QZ_PSS::last_error(), HasSubstr("malformed"));
}

TEST_F(OpenTest, refuses_a_newer_schema) {
  open();
  close();
  run_sql("update pss_schema set version = 99");
  EXPECT_THAT(refusal(url()), AllOf(HasSubstr(url()), HasSubstr("schema version 99 is newer than version 1")));
}

TEST_F(OpenTest, refuses_the_database_of_something_else) {
  run_sql("create table other (x integer)");
  EXPECT_THAT(refusal(url()), AllOf(HasSubstr(url()), HasSubstr("not this store's")));
}

TEST_F(OpenTest, gives_up_on_a_locked_database_after_the_time_out) {
  open();
  close();
  {
    const ForeignLock lock(file());
    EXPECT_THAT(refusal(url()), AllOf(HasSubstr(url()), HasSubstr("locked")));
  }
  open();
}

class MigrationTest : public OpenTest {
 protected:
  const QZ_PSS::Sql m_version{"select version from pss_schema", "", "n"};
  const QZ_PSS::Sql m_rows{"select b from t order by a", "", "t"};
  const std::vector<QZ_PSS::Migration> m_migrations{
      {"create table t (a integer)", "insert into t values (1)"},
      {"alter table t add column b text not null default 'old'"},
      {"insert into t values (2, 'new')"},
  };
  const std::chrono::milliseconds m_timeout{1000};

  std::vector<std::string> texts(QZ_PSS::Connection& connection, const QZ_PSS::Sql& sql) {
    std::vector<std::string> result;
    connection.execute(sql, {}, [&](const QZ_PSS::Fields& row) { result.push_back(row[0].text); });
    return result;
  }
  long long version(QZ_PSS::Connection& connection) {
    long long result = -1;
    connection.execute(m_version, {}, [&](const QZ_PSS::Fields& row) { result = row[0].number; });
    return result;
  }
};

TEST_F(MigrationTest, goes_forward_from_any_older_version) {
  QZ_PSS::Connection connection(file(), m_timeout);
  migrate(connection, {m_migrations[0]}, m_timeout);
  EXPECT_EQ(version(connection), 1);
  migrate(connection, m_migrations, m_timeout);
  EXPECT_EQ(version(connection), 3);
  EXPECT_THAT(texts(connection, m_rows), testing::ElementsAre("old", "new"));
  migrate(connection, m_migrations, m_timeout);
  EXPECT_THAT(texts(connection, m_rows), testing::ElementsAre("old", "new"));
}

TEST_F(MigrationTest, changes_nothing_when_a_step_fails) {
  {
    QZ_PSS::Connection connection(file(), m_timeout);
    migrate(connection, {m_migrations[0]}, m_timeout);
    EXPECT_THROW(migrate(connection, {m_migrations[0], m_migrations[1], {"nonsense"}}, m_timeout),
                 CORBA::PERSIST_STORE);
    EXPECT_THAT(QZ_PSS::last_error(), HasSubstr("nonsense"));
  }
  QZ_PSS::Connection connection(file(), m_timeout);
  EXPECT_EQ(version(connection), 1);
  EXPECT_THROW(texts(connection, m_rows), CORBA::PERSIST_STORE);
}

}  // namespace
}  // namespace Example
