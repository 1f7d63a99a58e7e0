#include <signal.h>
#include <sys/resource.h>

#include <future>
#include <thread>

#include "platform/pss/store.h"
#include "platform/pss/tx_session_association.h"
#include "platform/transactions/transaction.h"
#include "tests/unit/platform/pss/store_test.h"

namespace Example {
namespace {

using QZ_PSS::READ_WRITE;
using QZ_PSS::TxSessionAssociation;

class TransactionTest : public StoreTest {
 protected:
  TransactionTest() { open(); }

  bool others_see(unsigned number) {
    return std::async(std::launch::async, [&] { return has_name(number); }).get();
  }
  void create(TxSessionAssociation& association, unsigned number) {
    names(association).create(id_of(number), "", NameDataRef(), IdList(), true, true);
  }
};

TEST_F(TransactionTest, hides_writes_from_other_threads_until_commit) {
  current()->begin();
  {
    TxSessionAssociation association(manager(), READ_WRITE);
    create(association, 1);
    association.suspend();
  }
  EXPECT_TRUE(has_name(1));
  EXPECT_FALSE(others_see(1));
  current()->commit(true);
  EXPECT_TRUE(others_see(1));
}

TEST_F(TransactionTest, restores_everything_on_rollback) {
  add_name(1);
  current()->begin();
  {
    TxSessionAssociation association(manager(), READ_WRITE);
    const NameDataRef data = names(association).find_by_id(id_of(1));
    data->name("changed");
    data->add_child(id_of(5));
    create(association, 2);
  }
  current()->rollback();
  read([&](TxSessionAssociation& association) {
    const NameDataRef data = names(association).find_by_id(id_of(1));
    EXPECT_EQ(data->name(), "n1");
    EXPECT_EQ(data->child_count(), 0U);
  });
  EXPECT_FALSE(has_name(2));
}

TEST_F(TransactionTest, drops_the_writes_of_a_marked_transaction) {
  current()->begin();
  {
    TxSessionAssociation association(manager(), READ_WRITE);
    create(association, 1);
  }
  current()->rollback_only();
  EXPECT_THROW(current()->commit(true), CORBA::TRANSACTION_ROLLEDBACK);
  EXPECT_FALSE(has_name(1));
}

TEST_F(TransactionTest, is_required_for_mode_1) {
  EXPECT_EQ(minor_of<CORBA::TRANSACTION_REQUIRED>([&] { TxSessionAssociation(manager(), READ_WRITE); }),
            QZ_PSS::MINOR_NO_TRANSACTION);
}

TEST_F(TransactionTest, is_required_for_every_write) {
  add_name(1);
  const auto refuse = [&](TxSessionAssociation& association) {
    const auto minor = QZ_PSS::MINOR_READ_ONLY;
    const NameDataRef data = names(association).find_by_id(id_of(1));
    EXPECT_EQ(minor_of<CORBA::TRANSACTION_REQUIRED>([&] { create(association, 2); }), minor);
    EXPECT_EQ(minor_of<CORBA::TRANSACTION_REQUIRED>([&] { data->name("x"); }), minor);
    EXPECT_EQ(minor_of<CORBA::TRANSACTION_REQUIRED>([&] { data->children(ids_of({1})); }), minor);
    EXPECT_EQ(minor_of<CORBA::TRANSACTION_REQUIRED>([&] { data->add_child(id_of(1)); }), minor);
    EXPECT_EQ(minor_of<CORBA::TRANSACTION_REQUIRED>([&] { data->remove_child(id_of(1)); }), minor);
    EXPECT_EQ(minor_of<CORBA::TRANSACTION_REQUIRED>([&] { data->destroy_object(); }), minor);
  };
  read(refuse);
  write([&](TxSessionAssociation&) { read(refuse); });
  EXPECT_TRUE(has_name(1));
  EXPECT_FALSE(has_name(2));
}

TEST_F(TransactionTest, accepts_modes_0_and_1_of_its_own_manager_only) {
  EXPECT_EQ(minor_of<CORBA::BAD_PARAM>([&] { TxSessionAssociation(manager(), 2); }), QZ_PSS::MINOR_BAD_MODE);
  EXPECT_EQ(minor_of<CORBA::BAD_PARAM>([&] { TxSessionAssociation(QZ_PSS::SessionManager::_nil(), 0); }),
            QZ_PSS::MINOR_BAD_MANAGER);
}

TEST_F(TransactionTest, works_on_one_store) {
  QZ_PSS::SessionManager_var other = QZ_PSS::SessionManagerImpl::open("sqlite://" + dir() + "/other.db");
  write([&](TxSessionAssociation& association) {
    EXPECT_EQ(minor_of<CORBA::INVALID_TRANSACTION>([&] { TxSessionAssociation(other, READ_WRITE); }),
              QZ_PSS::MINOR_OTHER_STORE);
    create(association, 1);
  });
  EXPECT_TRUE(has_name(1));
}

TEST_F(TransactionTest, ends_the_use_of_records_and_homes) {
  add_name(1);
  NameDataRef data;
  QZ_Handle<NameHome> home;
  write([&](TxSessionAssociation& association) {
    home = QZ_Handle<NameHome>(&names(association));
    data = home->find_by_id(id_of(1));
    association.suspend();
    EXPECT_EQ(minor_of<CORBA::BAD_INV_ORDER>([&] { association.session(); }), QZ_PSS::MINOR_SESSION_ENDED);
    EXPECT_EQ(data->name(), "n1");  // the transaction goes on
  });
  EXPECT_EQ(minor_of<CORBA::BAD_INV_ORDER>([&] { data->name(); }), QZ_PSS::MINOR_SESSION_ENDED);
  EXPECT_EQ(minor_of<CORBA::BAD_INV_ORDER>([&] { data->name("x"); }), QZ_PSS::MINOR_SESSION_ENDED);
  EXPECT_EQ(minor_of<CORBA::BAD_INV_ORDER>([&] { home->find_by_id(id_of(1)); }), QZ_PSS::MINOR_SESSION_ENDED);
  read([&](TxSessionAssociation& association) { data = names(association).find_by_id(id_of(1)); });
  EXPECT_EQ(minor_of<CORBA::BAD_INV_ORDER>([&] { data->name(); }), QZ_PSS::MINOR_SESSION_ENDED);
}

TEST_F(TransactionTest, stays_with_its_thread_when_an_association_is_destroyed) {
  current()->begin();
  {
    TxSessionAssociation association(manager(), READ_WRITE);
  }
  EXPECT_EQ(current()->get_status(), CosTransactions::StatusActive);
  {
    TxSessionAssociation association(manager(), READ_WRITE);
    create(association, 1);
  }
  current()->commit(true);
  EXPECT_TRUE(has_name(1));
}

TEST_F(TransactionTest, is_rolled_back_when_its_thread_ends) {
  std::thread([&] {
    current()->begin();
    TxSessionAssociation association(manager(), READ_WRITE);
    create(association, 1);
  }).join();
  EXPECT_FALSE(has_name(1));
  add_name(2);
  EXPECT_TRUE(has_name(2));
}

TEST_F(TransactionTest, outlives_its_session_manager) {
  current()->begin();
  {
    TxSessionAssociation association(manager(), READ_WRITE);
    create(association, 1);
  }
  close();
  current()->commit(true);
  open();
  EXPECT_TRUE(has_name(1));
}

class GuardTest : public TransactionTest {};

TEST_F(GuardTest, commits_the_transaction_that_it_began) {
  EXPECT_EQ(write([&](TxSessionAssociation& association) {
              create(association, 1);
              return 42;
            }),
            42);
  EXPECT_EQ(current()->get_status(), CosTransactions::StatusNoTransaction);
  EXPECT_TRUE(others_see(1));
}

TEST_F(GuardTest, rolls_back_the_transaction_that_it_began_when_an_exception_escapes) {
  EXPECT_THROW(write([&](TxSessionAssociation& association) {
                 create(association, 1);
                 throw CosPersistentState::NotFound();
               }),
               CosPersistentState::NotFound);
  EXPECT_EQ(current()->get_status(), CosTransactions::StatusNoTransaction);
  EXPECT_FALSE(has_name(1));
}

TEST_F(GuardTest, leaves_the_callers_transaction_to_the_caller) {
  current()->begin();
  write([&](TxSessionAssociation& association) {
    create(association, 1);
    write([&](TxSessionAssociation& inner) { create(inner, 2); });
    EXPECT_FALSE(others_see(2));
    EXPECT_THROW(write([&](TxSessionAssociation&) { throw CosPersistentState::NotFound(); }),
                 CosPersistentState::NotFound);
  });
  EXPECT_EQ(current()->get_status(), CosTransactions::StatusActive);
  EXPECT_FALSE(others_see(1));
  current()->commit(true);
  EXPECT_TRUE(others_see(1));
  EXPECT_TRUE(others_see(2));
}

TEST_F(GuardTest, rolls_nested_work_back_with_the_outermost) {
  EXPECT_THROW(write([&](TxSessionAssociation&) {
                 write([&](TxSessionAssociation& inner) { create(inner, 1); });
                 throw CosPersistentState::NotFound();
               }),
               CosPersistentState::NotFound);
  EXPECT_FALSE(has_name(1));
}

// While it lives, this process cannot write beyond the first octet of any file.
class FileSizeLimit {
 public:
  FileSizeLimit() {
    signal(SIGXFSZ, SIG_IGN);
    getrlimit(RLIMIT_FSIZE, &m_before);
    const rlimit none{1, m_before.rlim_max};
    setrlimit(RLIMIT_FSIZE, &none);
  }
  ~FileSizeLimit() {
    setrlimit(RLIMIT_FSIZE, &m_before);
    signal(SIGXFSZ, SIG_DFL);
  }

 private:
  rlimit m_before{};
};

class FailureTest : public TransactionTest {
 protected:
  // Lets the next connection in use, the pool's only one, run out of space at once.
  void fill_disk() {
    static const QZ_PSS::Sql limit{"pragma max_page_count = 1", "", "n"};
    QZ_PSS::ConnectionPool& pool = QZ_PSS::implementation(manager()).store()->connections();
    std::unique_ptr<QZ_PSS::Connection> connection = pool.take();
    connection->execute(limit);
    pool.give_back(std::move(connection));
  }
  void create_big(TxSessionAssociation& association, unsigned number) {
    names(association).create(id_of(number), std::string(100000, 'x').c_str(), NameDataRef(), IdList(), true, true);
  }
};

TEST_F(FailureTest, dooms_the_transaction_when_the_store_fails) {
  fill_disk();
  current()->begin();
  {
    TxSessionAssociation association(manager(), READ_WRITE);
    create(association, 1);
    EXPECT_EQ(minor_of<CORBA::PERSIST_STORE>([&] { create_big(association, 2); }), QZ_PSS::MINOR_FULL);
    EXPECT_EQ(QZ_PSS::last_error().find("full") == std::string::npos, false) << QZ_PSS::last_error();
    EXPECT_EQ(minor_of<CORBA::TRANSACTION_ROLLEDBACK>([&] { create(association, 3); }), QZ_PSS::MINOR_ROLLED_BACK);
  }
  EXPECT_EQ(minor_of<CORBA::TRANSACTION_ROLLEDBACK>([&] { TxSessionAssociation(manager(), READ_WRITE); }),
            QZ_PSS::MINOR_ROLLED_BACK);
  EXPECT_EQ(minor_of<CORBA::TRANSACTION_ROLLEDBACK>([&] { current()->commit(true); }), QZ_PSS::MINOR_ROLLED_BACK);
  for (const unsigned number : {1, 2, 3}) EXPECT_FALSE(has_name(number));
  write([&](TxSessionAssociation& association) { create_big(association, 2); });
  EXPECT_TRUE(has_name(2));
}

TEST_F(FailureTest, reports_a_commit_that_cannot_be_written_as_rolled_back) {
  add_name(1);
  current()->begin();
  {
    TxSessionAssociation association(manager(), READ_WRITE);
    create(association, 2);
  }
  {
    const FileSizeLimit no_growth;
    EXPECT_THROW(current()->commit(true), CORBA::TRANSACTION_ROLLEDBACK);
  }
  EXPECT_EQ(current()->get_status(), CosTransactions::StatusNoTransaction);
  EXPECT_TRUE(has_name(1));
  EXPECT_FALSE(has_name(2));
  add_name(2);
  reopen();
  EXPECT_TRUE(has_name(2));
}

TEST_F(FailureTest, passes_on_to_the_caller_of_guarded_work) {
  fill_disk();
  EXPECT_EQ(minor_of<CORBA::PERSIST_STORE>(
                [&] { write([&](TxSessionAssociation& association) { create_big(association, 1); }); }),
            QZ_PSS::MINOR_FULL);
  EXPECT_EQ(current()->get_status(), CosTransactions::StatusNoTransaction);
  EXPECT_FALSE(has_name(1));
  add_name(1);
  EXPECT_TRUE(has_name(1));
}

}  // namespace
}  // namespace Example
