#include <soci/soci.h>
#include <soci/sqlite3/soci-sqlite3.h>

#include "tests/unit/platform/pss/store_test.h"

namespace Example {
namespace {

using QZ_PSS::TxSessionAssociation;

CORBA::ORB_ptr orb() {
  static const CORBA::ORB_var shared = [] {
    int argc = 0;
    return CORBA::ORB_init(argc, nullptr);
  }();
  return shared.in();
}

class ObjectReferenceTest : public StoreTest {
 protected:
  ObjectReferenceTest() { open_with_orb(); }

  void open_with_orb() {
    QZ_PSS::StoreOptions options;
    options.orb = CORBA::ORB::_duplicate(orb());
    m_orbs = QZ_PSS::SessionManagerImpl::open(url(), options);
    QZ_PSS::register_home<PoaOrbHome>(m_orbs, ORBS);
  }

  template <class Work>
  auto with_orb(Work work) {
    return QZ_PSS::in_transaction(current(), m_orbs.in(), [&](TxSessionAssociation& association) {
      return work(PoaOrbDataRef::narrow(orbs(association).find_by_name("orb")));
    });
  }

  QZ_PSS::SessionManager_var m_orbs;
};

TEST_F(ObjectReferenceTest, keeps_object_references_over_a_new_start) {
  CORBA::Object_var activator = orb()->string_to_object("corbaloc::1.2@127.0.0.1:1/activator");
  CORBA::String_var ior = orb()->object_to_string(activator);
  QZ_PSS::in_transaction(current(), m_orbs.in(), [&](TxSessionAssociation& association) {
    orbs(association).create("orb", "process", IdList(), activator);
  });
  open_with_orb();
  with_orb([&](const PoaOrbDataRef& data) {
    CORBA::Object_var stored = data->activator();
    CORBA::String_var stored_ior = orb()->object_to_string(stored);
    EXPECT_STREQ(stored_ior, ior);
    stored = data->packed_activator().object();
    stored_ior = orb()->object_to_string(stored);
    EXPECT_STREQ(stored_ior, ior);
    data->activator(CORBA::Object::_nil());
  });
  with_orb([](const PoaOrbDataRef& data) {
    CORBA::Object_var stored = data->activator();
    EXPECT_TRUE(CORBA::is_nil(stored));
    EXPECT_TRUE(data->packed_activator().is_nil());
  });
}

TEST_F(ObjectReferenceTest, reports_a_reference_that_cannot_be_read) {
  QZ_PSS::in_transaction(current(), m_orbs.in(), [&](TxSessionAssociation& association) {
    orbs(association).create("orb", "", IdList(), CORBA::Object::_nil());
  });
  soci::session foreign(soci::sqlite3, "dbname=\"" + file() + "\"");
  for (const std::string text : {"IOR:nonsense", "nonsense", "IOR:", "IOR:010", "IOR:01000000"}) {
    foreign << "update h1_poaorbdata set activator = :text", soci::use(text);
    with_orb([&](const PoaOrbDataRef& data) {
      EXPECT_EQ(minor_of<CORBA::PERSIST_STORE>([&] { data->activator(); }), QZ_PSS::MINOR_BAD_RECORD) << text;
      EXPECT_EQ(minor_of<CORBA::PERSIST_STORE>([&] { data->packed_activator(); }), QZ_PSS::MINOR_BAD_RECORD) << text;
    });
  }
}

TEST_F(ObjectReferenceTest, needs_an_orb_for_all_but_nil) {
  m_orbs = QZ_PSS::SessionManagerImpl::open(url());
  QZ_PSS::register_home<PoaOrbHome>(m_orbs, ORBS);
  CORBA::Object_var activator = orb()->string_to_object("corbaloc::1.2@127.0.0.1:1/activator");
  QZ_PSS::in_transaction(current(), m_orbs.in(), [&](TxSessionAssociation& association) {
    EXPECT_EQ(minor_of<CORBA::BAD_INV_ORDER>([&] { orbs(association).create("orb", "", IdList(), activator); }),
              QZ_PSS::MINOR_NO_ORB);
    orbs(association).create("orb", "", IdList(), CORBA::Object::_nil());
  });
  with_orb([](const PoaOrbDataRef& data) {
    CORBA::Object_var stored = data->activator();
    EXPECT_TRUE(CORBA::is_nil(stored));
  });
}

}  // namespace
}  // namespace Example
