// What must not depend on the number of records or of list elements. Times are reported, plans are asserted.
#include <gmock/gmock.h>
#include <soci/soci.h>
#include <soci/sqlite3/soci-sqlite3.h>

#include <cstdio>
#include <fstream>

#include "platform/pss/store.h"
#include "tests/unit/platform/pss/store_test.h"

namespace Example {
namespace {

using QZ_PSS::TxSessionAssociation;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

constexpr unsigned ROOT = 0xffffffff;

class ScaleTest : public StoreTest {
 protected:
  ScaleTest() {
    open();
    write([&](TxSessionAssociation& association) {
      names(association).create(id_of(ROOT), "", NameDataRef(), IdList(), true, false);
    });
  }

  // Records first .. last - 1, all of them children of the root.
  void fill(unsigned first, unsigned last) {
    write([&](TxSessionAssociation& association) {
      const NameDataRef root = names(association).find_by_id(id_of(ROOT));
      for (unsigned i = first; i < last; ++i) {
        names(association).create(id_of(i), "name", root, IdList(), true, true);
        root->add_child(id_of(i));
      }
    });
  }

  // The engine's plan for a statement, a line each step.
  std::string plan_of(const QZ_PSS::Sql& sql) {
    soci::session session(soci::sqlite3, "dbname=\"" + file() + "\"");
    const soci::rowset<soci::row> steps = session.prepare << "explain query plan " + literal(sql);
    std::string plan;
    for (const soci::row& step : steps) plan += step.get<std::string>(3) + "\n";
    return plan;
  }

  const QZ_PSS::HomeTable& table() { return *QZ_PSS::implementation(manager()).store()->find_home(NAMES); }

 private:
  // With literals in the place of parameters.
  static std::string literal(const QZ_PSS::Sql& sql) {
    std::string text;
    for (std::size_t i = 0; i < sql.text.size(); ++i) {
      if (sql.text[i] != ':') {
        text += sql.text[i];
        continue;
      }
      text += "1";
      while (i + 1 < sql.text.size() && (std::isalnum(static_cast<unsigned char>(sql.text[i + 1])) != 0)) ++i;
    }
    return text;
  }
};

template <class Work>
double microseconds(Work work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start).count();
}

long resident_kilobytes() {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);)
    if (line.starts_with("VmRSS:")) return std::atol(line.c_str() + 6);
  return 0;
}

TEST_F(ScaleTest, finds_and_walks_by_index) {
  EXPECT_THAT(plan_of(table().find), AllOf(HasSubstr("SEARCH"), HasSubstr("(id=?)"), Not(HasSubstr("SCAN"))));
  EXPECT_THAT(plan_of(table().load), AllOf(HasSubstr("INTEGER PRIMARY KEY"), Not(HasSubstr("SCAN"))));
  EXPECT_THAT(plan_of(table().page), AllOf(HasSubstr("rowid>?"), Not(HasSubstr("TEMP B-TREE"))));
  EXPECT_THAT(plan_of(table().destroy), AllOf(HasSubstr("INTEGER PRIMARY KEY"), Not(HasSubstr("SCAN"))));
}

TEST_F(ScaleTest, works_on_lists_by_index) {
  const QZ_PSS::ListSql& list = table().list[table().type.index_of(NameData::CHILDREN)];
  EXPECT_THAT(plan_of(list.read), AllOf(HasSubstr("(owner=?)"), Not(HasSubstr("SCAN")), Not(HasSubstr("TEMP B-TREE"))));
  EXPECT_THAT(plan_of(list.append), AllOf(HasSubstr("(owner=?)"), Not(HasSubstr("SCAN h"))));
  EXPECT_THAT(plan_of(list.remove),
              AllOf(HasSubstr("(owner=? AND position=?)"), HasSubstr("(owner=? AND value=?)"), Not(HasSubstr("SCAN"))));
  EXPECT_THAT(plan_of(list.add_to_count), AllOf(HasSubstr("INTEGER PRIMARY KEY"), Not(HasSubstr("SCAN"))));
}

TEST_F(ScaleTest, holds_a_hundred_thousand_records_and_streams_them) {
  constexpr unsigned few = 10;
  constexpr unsigned many = 100000;
  const auto measure = [&](unsigned size) {
    unsigned next = size;
    constexpr int rounds = 50;
    const double registration = microseconds([&] {
      for (int i = 0; i < rounds; ++i, ++next) fill(next, next + 1);
    });
    const double finding = microseconds([&] {
      for (int i = 0; i < rounds; ++i)
        EXPECT_TRUE(has_name(static_cast<unsigned>(i) * (size / static_cast<unsigned>(rounds + 1))));
    });
    const double removal = microseconds([&] {
      for (int i = 0; i < rounds; ++i) {
        --next;
        write([&](TxSessionAssociation& association) {
          EXPECT_TRUE(names(association).find_by_id(id_of(ROOT))->remove_child(id_of(next)));
          names(association).find_by_id(id_of(next))->destroy_object();
        });
      }
    });
    std::printf("%6u records: registration %.0f us, find %.0f us, removal %.0f us\n", size, registration / rounds,
                finding / rounds, removal / rounds);
  };
  fill(0, few);
  measure(few);
  fill(few, many);
  measure(many);

  const long before = resident_kilobytes();
  unsigned rows_seen = 0;
  const double walk = microseconds([&] {
    read([&](TxSessionAssociation& association) {
      QZ_PSS::Statement statement(association.session());
      const auto rows = statement.execute("select ref(h) from " + std::string(NAMES) + " h");
      while (rows->next()) {
        const CORBA::Any_var row = rows->value(1);
        if (NameDataRef::from_any(row.in(), association)->name() == "name") ++rows_seen;
      }
    });
  });
  EXPECT_EQ(rows_seen, many);
  std::printf("walk over %u records: %.0f ms, %ld KB more resident memory\n", many, walk / 1000,
              resident_kilobytes() - before);
  read([&](TxSessionAssociation& association) {
    const NameDataRef root = names(association).find_by_id(id_of(ROOT));
    EXPECT_EQ(root->child_count(), many);
    EXPECT_EQ(root->children().length(), many);
  });
}

}  // namespace
}  // namespace Example
