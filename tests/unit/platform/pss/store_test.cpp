#include "tests/unit/platform/pss/store_test.h"

#include <soci/soci.h>
#include <soci/sqlite3/soci-sqlite3.h>
#include <stdlib.h>

#include <filesystem>
#include <stdexcept>

namespace Example {

CORBA::OctetSeq id_of(unsigned number) {
  CORBA::OctetSeq id;
  id.length(4);
  for (unsigned i = 0; i < 4; ++i) id[i] = static_cast<CORBA::Octet>(number >> (24 - 8 * i));
  return id;
}

unsigned number_of(const CORBA::OctetSeq& id) {
  unsigned number = 0;
  for (CORBA::ULong i = 0; i < id.length(); ++i) number = number << 8 | id[i];
  return number;
}

IdList ids_of(std::initializer_list<unsigned> numbers) {
  IdList ids;
  ids.length(static_cast<CORBA::ULong>(numbers.size()));
  CORBA::ULong i = 0;
  for (const unsigned number : numbers) ids[i++] = id_of(number);
  return ids;
}

std::vector<unsigned> numbers_of(const IdList& ids) {
  std::vector<unsigned> numbers;
  numbers.reserve(ids.length());
  for (CORBA::ULong i = 0; i < ids.length(); ++i) numbers.push_back(number_of(ids[i]));
  return numbers;
}

StoreTest::StoreTest() : m_current(new CurrentImpl) {
  m_dir = (std::filesystem::path(testing::TempDir()) / "store test XXXXXX").string();
  if (!mkdtemp(m_dir.data())) throw std::runtime_error("no temporary directory");
  m_file = m_dir + "/state.db";
}

StoreTest::~StoreTest() {
  if (m_current->get_status() != CosTransactions::StatusNoTransaction) m_current->rollback();
  close();
  std::filesystem::remove_all(m_dir);
}

void StoreTest::open(std::chrono::milliseconds busy_timeout) {
  QZ_PSS::StoreOptions options;
  options.busy_timeout = busy_timeout;
  m_manager = QZ_PSS::SessionManagerImpl::open(url(), options);
  QZ_PSS::register_home<NameHome>(manager(), NAMES);
  QZ_PSS::register_home<PoaOrbHome>(manager(), ORBS);
}

void StoreTest::add_name(unsigned number) {
  write([&](QZ_PSS::TxSessionAssociation& association) {
    const std::string name = "n" + std::to_string(number);
    names(association).create(id_of(number), name.c_str(), NameDataRef(), IdList(), true, true);
  });
}

bool StoreTest::has_name(unsigned number) {
  return read([&](QZ_PSS::TxSessionAssociation& association) {
    try {
      names(association).find_by_id(id_of(number));
      return true;
    } catch (const CosPersistentState::NotFound&) {
      return false;
    }
  });
}

std::vector<unsigned> StoreTest::all_names() {
  return read([&](QZ_PSS::TxSessionAssociation& association) {
    std::vector<unsigned> numbers;
    QZ_PSS::Statement statement(association.session());
    const auto rows = statement.execute("select ref(h) from " + std::string(NAMES) + " h");
    while (rows->next()) {
      const CORBA::Any_var row = rows->value(1);
      numbers.push_back(number_of(NameDataRef::from_any(row.in(), association)->id()));
    }
    return numbers;
  });
}

struct ForeignLock::Impl {
  explicit Impl(const std::string& file) : session(soci::sqlite3, "dbname=\"" + file + "\"") {}
  soci::session session;
};

ForeignLock::ForeignLock(const std::string& file) : m_impl(std::make_unique<Impl>(file)) {
  m_impl->session << "begin immediate";
}

ForeignLock::~ForeignLock() {
  m_impl->session << "rollback";
}

}  // namespace Example
