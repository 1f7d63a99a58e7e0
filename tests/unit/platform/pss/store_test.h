// A store in a file of its own for each test.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <utility>

#include "platform/pss/pss_errors.h"
#include "platform/pss/session_manager_impl.h"
#include "platform/pss/statement.h"
#include "platform/pss/transaction_guard.h"
#include "platform/transactions/current_impl.h"
#include "tests/unit/platform/pss/example_records.h"

namespace Example {

constexpr const char* NAMES = "PSDL:ExampleImpl/NameHomeImpl:1.0";
constexpr const char* ORBS = "PSDL:ExampleImpl/PoaOrbHomeImpl:1.0";

// Four octets, big-endian.
CORBA::OctetSeq id_of(unsigned number);
unsigned number_of(const CORBA::OctetSeq& id);
IdList ids_of(std::initializer_list<unsigned> numbers);
std::vector<unsigned> numbers_of(const IdList& ids);

// The minor code of the system exception that action raises; fails the test when it raises no Exception.
template <class Exception, class Action>
CORBA::ULong minor_of(Action action) {
  try {
    action();
  } catch (const Exception& ex) {
    EXPECT_EQ(ex.completed(), CORBA::COMPLETED_NO);
    return ex.minor();
  } catch (const CORBA::SystemException& ex) {
    ADD_FAILURE() << "raised " << ex._name() << " instead";
    return 0;
  }
  ADD_FAILURE() << "raised nothing";
  return 0;
}

class StoreTest : public testing::Test {
 protected:
  StoreTest();
  ~StoreTest() override;

  std::string url() const { return "sqlite://" + m_file; }
  const std::string& file() const { return m_file; }
  const std::string& dir() const { return m_dir; }
  QZ_PSS::SessionManager_ptr manager() const { return m_manager.in(); }
  CosTransactions::Current_ptr current() const { return m_current.in(); }

  // Opens the store and registers the example homes.
  void open(std::chrono::milliseconds busy_timeout = std::chrono::seconds(10));
  void close() { m_manager = QZ_PSS::SessionManager::_nil(); }
  void reopen() {
    close();
    open();
  }

  static NameHome& names(QZ_PSS::TxSessionAssociation& association) {
    return *NameHome::_narrow(association.find_storage_home(NAMES));
  }
  static PoaOrbHome& orbs(QZ_PSS::TxSessionAssociation& association) {
    return *PoaOrbHome::_narrow(association.find_storage_home(ORBS));
  }

  // Runs work(association) in a transaction, committed if it is the call's own.
  template <class Work>
  auto write(Work work) {
    return QZ_PSS::in_transaction(current(), manager(), work);
  }
  // Runs work(association) in mode 0.
  template <class Work>
  auto read(Work work) {
    QZ_PSS::TxSessionAssociation association(manager(), QZ_PSS::READ_ONLY);
    return work(association);
  }

  // A committed record with the name "n<number>".
  void add_name(unsigned number);
  bool has_name(unsigned number);
  // Of all records, in the query's order.
  std::vector<unsigned> all_names();

 private:
  std::string m_dir;
  std::string m_file;
  CosTransactions::Current_var m_current;
  QZ_PSS::SessionManager_var m_manager;
};

// Takes the write lock of a SQLite file through a connection of its own, as another process would.
class ForeignLock {
 public:
  explicit ForeignLock(const std::string& file);
  ~ForeignLock();

 private:
  struct Impl;
  std::unique_ptr<Impl> m_impl;
};

}  // namespace Example
