#include "platform/transactions/current_impl.h"

#include <gtest/gtest.h>

#include <thread>

#include "platform/transactions/transaction.h"

namespace {

// Tells what became of the transaction that it takes part in.
class Resource : public TransactionResource {
 public:
  explicit Resource(bool fails = false) : m_fails(fails) {}
  void commit() override {
    ++commits;
    if (m_fails) throw CORBA::PERSIST_STORE(7, CORBA::COMPLETED_NO);
  }
  void rollback() noexcept override { ++rollbacks; }
  int commits = 0;
  int rollbacks = 0;

 private:
  bool m_fails;
};

class CurrentTest : public testing::Test {
 protected:
  ~CurrentTest() override {
    if (m_current->get_status() != CosTransactions::StatusNoTransaction) m_current->rollback();
  }
  CosTransactions::Current_var m_current = new CurrentImpl;
};

TEST_F(CurrentTest, starts_without_a_transaction) {
  EXPECT_EQ(m_current->get_status(), CosTransactions::StatusNoTransaction);
  CosTransactions::Control_var control = m_current->get_control();
  EXPECT_TRUE(CORBA::is_nil(control));
  EXPECT_THROW(m_current->commit(true), CosTransactions::NoTransaction);
  EXPECT_THROW(m_current->rollback(), CosTransactions::NoTransaction);
  EXPECT_THROW(m_current->rollback_only(), CosTransactions::NoTransaction);
}

TEST_F(CurrentTest, has_one_transaction_from_begin_to_commit) {
  m_current->begin();
  EXPECT_EQ(m_current->get_status(), CosTransactions::StatusActive);
  CosTransactions::Control_var control = m_current->get_control();
  EXPECT_FALSE(CORBA::is_nil(control));
  CosTransactions::Control_var again = m_current->get_control();
  EXPECT_EQ(control.in(), again.in());
  EXPECT_THROW(m_current->begin(), CosTransactions::SubtransactionsUnavailable);
  m_current->commit(true);
  EXPECT_EQ(m_current->get_status(), CosTransactions::StatusNoTransaction);
}

TEST_F(CurrentTest, commits_what_takes_part_once) {
  m_current->begin();
  const auto resource = std::make_shared<Resource>();
  Transaction::of_this_thread()->enlist(resource);
  m_current->commit(true);
  EXPECT_EQ(resource->commits, 1);
  EXPECT_EQ(resource->rollbacks, 0);
}

TEST_F(CurrentTest, rolls_back_what_takes_part_once) {
  m_current->begin();
  const auto resource = std::make_shared<Resource>();
  Transaction::of_this_thread()->enlist(resource);
  m_current->rollback();
  EXPECT_EQ(resource->commits, 0);
  EXPECT_EQ(resource->rollbacks, 1);
  EXPECT_EQ(m_current->get_status(), CosTransactions::StatusNoTransaction);
}

TEST_F(CurrentTest, refuses_to_commit_a_marked_transaction) {
  m_current->begin();
  const auto resource = std::make_shared<Resource>();
  Transaction::of_this_thread()->enlist(resource);
  m_current->rollback_only();
  EXPECT_EQ(m_current->get_status(), CosTransactions::StatusMarkedRollback);
  EXPECT_THROW(m_current->commit(true), CORBA::TRANSACTION_ROLLEDBACK);
  EXPECT_EQ(resource->commits, 0);
  EXPECT_EQ(resource->rollbacks, 1);
  EXPECT_EQ(m_current->get_status(), CosTransactions::StatusNoTransaction);
}

TEST_F(CurrentTest, reports_a_failed_commit_as_rolled_back_and_keeps_its_minor_code) {
  m_current->begin();
  Transaction::of_this_thread()->enlist(std::make_shared<Resource>(true));
  try {
    m_current->commit(true);
    ADD_FAILURE() << "raised nothing";
  } catch (const CORBA::TRANSACTION_ROLLEDBACK& ex) {
    EXPECT_EQ(ex.minor(), 7U);
  }
  EXPECT_EQ(m_current->get_status(), CosTransactions::StatusNoTransaction);
}

TEST_F(CurrentTest, gives_each_thread_a_transaction_of_its_own) {
  m_current->begin();
  std::thread other([&] {
    EXPECT_EQ(m_current->get_status(), CosTransactions::StatusNoTransaction);
    m_current->begin();
    m_current->rollback();
    EXPECT_EQ(m_current->get_status(), CosTransactions::StatusNoTransaction);
  });
  other.join();
  EXPECT_EQ(m_current->get_status(), CosTransactions::StatusActive);
}

TEST_F(CurrentTest, rolls_back_the_transaction_of_a_thread_that_ends) {
  const auto resource = std::make_shared<Resource>();
  std::thread other([&] {
    m_current->begin();
    Transaction::of_this_thread()->enlist(resource);
  });
  other.join();
  EXPECT_EQ(resource->commits, 0);
  EXPECT_EQ(resource->rollbacks, 1);
}

}  // namespace
