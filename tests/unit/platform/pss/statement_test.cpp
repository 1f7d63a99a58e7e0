#include "platform/pss/statement.h"

#include <gmock/gmock.h>

#include <thread>

#include "tests/unit/platform/pss/store_test.h"

namespace Example {
namespace {

using QZ_PSS::Statement;
using QZ_PSS::TxSessionAssociation;
using testing::ElementsAre;
using testing::IsEmpty;

const std::string QUERY = "select ref(h) from " + std::string(NAMES) + " h";

class StatementTest : public StoreTest {
 protected:
  StatementTest() { open(); }
};

TEST_F(StatementTest, gives_no_row_for_an_empty_home) {
  EXPECT_THAT(all_names(), IsEmpty());
}

TEST_F(StatementTest, gives_rows_in_the_order_of_creation) {
  for (const unsigned number : {7, 3, 9, 1}) add_name(number);
  write([&](TxSessionAssociation& association) { names(association).find_by_id(id_of(9))->destroy_object(); });
  add_name(2);
  EXPECT_THAT(all_names(), ElementsAre(7, 3, 1, 2));
}

TEST_F(StatementTest, puts_a_reference_to_the_record_into_each_row) {
  add_name(1);
  read([&](TxSessionAssociation& association) {
    Statement statement(association.session());
    const auto rows = statement.execute(QUERY);
    ASSERT_TRUE(rows->next());
    const CORBA::Any_var row = rows->value(1);
    const QZ_PSS::StorageObjectReference* reference = nullptr;
    ASSERT_TRUE(row.in() >>= reference);
    EXPECT_STREQ(reference->home_type_id, NAMES);
    EXPECT_EQ(NameDataRef::from_reference(*reference, association)->name(), "n1");
    EXPECT_EQ(NameDataRef::from_any(row.in(), association)->name(), "n1");
    EXPECT_FALSE(rows->next());
    EXPECT_FALSE(rows->next());
  });
}

TEST_F(StatementTest, gives_each_row_s_record_as_the_row_was_read) {
  for (const unsigned number : {1, 2}) add_name(number);
  read([&](TxSessionAssociation& association) {
    Statement statement(association.session());
    const auto rows = statement.execute(QUERY);
    EXPECT_EQ(minor_of<CORBA::BAD_INV_ORDER>([&] { rows->record(); }), QZ_PSS::MINOR_NO_ROW);
    ASSERT_TRUE(rows->next());
    const NameDataRef first = NameDataRef::from_row(*rows);
    std::thread([&] {
      write([&](TxSessionAssociation& other) { names(other).find_by_id(id_of(1))->destroy_object(); });
    }).join();
    EXPECT_EQ(first->name(), "n1");
    EXPECT_FALSE(first->exists());
    ASSERT_TRUE(rows->next());
    EXPECT_EQ(NameDataRef::from_row(*rows)->name(), "n2");
    EXPECT_EQ(minor_of<CORBA::BAD_PARAM>([&] { OrbDataRef::from_row(*rows); }), QZ_PSS::MINOR_BAD_REFERENCE);
    rows->close();
    EXPECT_EQ(minor_of<CORBA::BAD_INV_ORDER>([&] { rows->record(); }), QZ_PSS::MINOR_NO_ROW);
  });
}

TEST_F(StatementTest, keeps_a_row_s_record_up_to_date_in_a_transaction) {
  for (const unsigned number : {1, 2}) add_name(number);
  write([&](TxSessionAssociation& association) {
    Statement statement(association.session());
    const auto rows = statement.execute(QUERY);
    ASSERT_TRUE(rows->next());
    names(association).find_by_id(id_of(1))->destroy_object();
    const NameDataRef gone = NameDataRef::from_row(*rows);
    EXPECT_EQ(minor_of<CORBA::OBJECT_NOT_EXIST>([&] { gone->name(); }), QZ_PSS::MINOR_RECORD_GONE);
    ASSERT_TRUE(rows->next());
    EXPECT_EQ(NameDataRef::from_row(*rows)->name(), "n2");
  });
}

TEST_F(StatementTest, accepts_the_one_form_of_query_only) {
  read([&](TxSessionAssociation& association) {
    Statement statement(association.session());
    const std::string names = NAMES;
    for (const std::string& text :
         {std::string(), std::string("select ref(h) from "), std::string("select ref(h) from  h"), QUERY + " ",
          "select ref(h) from " + names, "select ref(x) from " + names + " x", "SELECT ref(h) from " + names + " h",
          "select ref(h) from " + names + " h where h.name = 'x' h", "select ref(h) from a, " + names + " h",
          std::string("select * from h1_namedata; drop table h1_namedata h")}) {
      EXPECT_EQ(minor_of<CORBA::BAD_PARAM>([&] { statement.execute(text); }), QZ_PSS::MINOR_BAD_QUERY) << text;
    }
    EXPECT_THROW(statement.execute("select ref(h) from PSDL:Unknown:1.0 h"), CosPersistentState::NotFound);
  });
}

TEST_F(StatementTest, has_one_column_and_a_value_on_rows_only) {
  add_name(1);
  read([&](TxSessionAssociation& association) {
    Statement statement(association.session());
    const auto rows = statement.execute(QUERY);
    EXPECT_EQ(minor_of<CORBA::BAD_INV_ORDER>([&] { rows->value(1); }), QZ_PSS::MINOR_NO_ROW);
    ASSERT_TRUE(rows->next());
    EXPECT_EQ(minor_of<CORBA::BAD_PARAM>([&] { rows->value(0); }), QZ_PSS::MINOR_BAD_COLUMN);
    EXPECT_EQ(minor_of<CORBA::BAD_PARAM>([&] { rows->value(2); }), QZ_PSS::MINOR_BAD_COLUMN);
    rows->close();
    EXPECT_EQ(minor_of<CORBA::BAD_INV_ORDER>([&] { rows->value(1); }), QZ_PSS::MINOR_NO_ROW);
    EXPECT_FALSE(rows->next());
  });
}

TEST_F(StatementTest, refuses_anys_that_refer_to_no_such_record) {
  read([&](TxSessionAssociation& association) {
    CORBA::Any text;
    text <<= "not a reference";
    EXPECT_EQ(minor_of<CORBA::BAD_PARAM>([&] { NameDataRef::from_any(text, association); }),
              QZ_PSS::MINOR_BAD_REFERENCE);
    const auto refer = [&](const char* home_type_id, const char* pid) {
      QZ_PSS::StorageObjectReference reference;
      reference.home_type_id = home_type_id;
      reference.pid = pid;
      CORBA::Any any;
      any <<= reference;
      return NameDataRef::from_any(any, association);
    };
    for (const char* pid : {"", "x", "1x", "99999999999999999999"})
      EXPECT_EQ(minor_of<CORBA::BAD_PARAM>([&] { refer(NAMES, pid); }), QZ_PSS::MINOR_BAD_REFERENCE) << pid;
    EXPECT_EQ(minor_of<CORBA::BAD_PARAM>([&] { refer("PSDL:Unknown:1.0", "1"); }), QZ_PSS::MINOR_BAD_REFERENCE);
    EXPECT_EQ(minor_of<CORBA::BAD_PARAM>([&] { refer(ORBS, "1"); }), QZ_PSS::MINOR_BAD_REFERENCE);
    EXPECT_EQ(minor_of<CORBA::OBJECT_NOT_EXIST>([&] { refer(NAMES, "12345")->name(); }), QZ_PSS::MINOR_RECORD_GONE);
  });
}

TEST_F(StatementTest, tolerates_changes_while_a_result_set_is_open) {
  constexpr unsigned count = 600;  // more than two pages
  write([&](TxSessionAssociation& association) {
    for (unsigned i = 0; i < count; ++i) names(association).create(id_of(i), "", NameDataRef(), IdList(), true, true);
  });
  write([&](TxSessionAssociation& association) {
    Statement statement(association.session());
    const auto rows = statement.execute(QUERY);
    unsigned seen = 0;
    for (; rows->next(); ++seen) {
      const CORBA::Any_var row = rows->value(1);
      const NameDataRef data = NameDataRef::from_any(row.in(), association);
      const unsigned number = number_of(data->id());
      EXPECT_EQ(number, seen);
      data->destroy_object();
      if (number == 0) names(association).create(id_of(count), "", NameDataRef(), IdList(), true, true);
      // Not read yet, so it never comes.
      if (number == 1) names(association).find_by_id(id_of(count - 1))->destroy_object();
      if (number == count - 2) ++seen;
    }
    EXPECT_EQ(seen, count + 1);
  });
  EXPECT_THAT(all_names(), IsEmpty());
}

TEST_F(StatementTest, ends_with_its_association) {
  add_name(1);
  TxSessionAssociation association(manager(), QZ_PSS::READ_ONLY);
  Statement statement(association.session());
  const auto rows = statement.execute(QUERY);
  association.end();
  EXPECT_EQ(minor_of<CORBA::BAD_INV_ORDER>([&] { rows->next(); }), QZ_PSS::MINOR_SESSION_ENDED);
  EXPECT_EQ(minor_of<CORBA::BAD_INV_ORDER>([&] { statement.execute(QUERY); }), QZ_PSS::MINOR_SESSION_ENDED);
}

}  // namespace
}  // namespace Example
