#include "platform/pss/storage_home.h"

#include <gmock/gmock.h>

#include "tests/unit/platform/pss/store_test.h"

namespace Example {
namespace {

using QZ_PSS::TxSessionAssociation;
using testing::ElementsAre;

class StorageHomeTest : public StoreTest {
 protected:
  StorageHomeTest() { open(); }

  template <class Home>
  void register_as(const std::string& home_type_id, const QZ_PSS::StorageType& type) {
    QZ_PSS::implementation(manager()).register_home(
        home_type_id, type, [] { return new Home; }, [] { return new typename Home::Data; });
  }
};

TEST_F(StorageHomeTest, finds_records_by_key) {
  add_name(1);
  add_name(2);
  read([&](TxSessionAssociation& association) {
    EXPECT_EQ(names(association).find_by_id(id_of(2))->name(), "n2");
    EXPECT_THROW(names(association).find_by_id(id_of(3)), CosPersistentState::NotFound);
  });
}

TEST_F(StorageHomeTest, tells_a_taken_key_apart_and_leaves_the_transaction_usable) {
  add_name(1);
  write([&](TxSessionAssociation& association) {
    NameHome& home = names(association);
    try {
      home.create(id_of(1), "again", NameDataRef(), ids_of({5}), true, true);
      ADD_FAILURE() << "created twice";
    } catch (const CORBA::SystemException& ex) {
      EXPECT_TRUE(QZ_PSS::is_already_exists(ex));
    }
    home.create(id_of(2), "n2", NameDataRef(), IdList(), true, true);
  });
  read([&](TxSessionAssociation& association) {
    const NameDataRef first = names(association).find_by_id(id_of(1));
    EXPECT_EQ(first->name(), "n1");
    EXPECT_EQ(first->child_count(), 0U);
  });
  EXPECT_TRUE(has_name(2));
}

TEST_F(StorageHomeTest, knows_only_registered_homes) {
  read([&](TxSessionAssociation& association) {
    EXPECT_THROW(association.find_storage_home("PSDL:Unknown:1.0"), CosPersistentState::NotFound);
    EXPECT_THROW(association.find_storage_home(""), CosPersistentState::NotFound);
    EXPECT_THROW(association.find_storage_home(nullptr), CosPersistentState::NotFound);
    EXPECT_STREQ(association.find_storage_home(NAMES)->home_type_id(), NAMES);
    EXPECT_EQ(association.find_storage_home(NAMES), association.find_storage_home(NAMES));
  });
}

TEST_F(StorageHomeTest, narrows_to_its_own_class_and_bases_only) {
  read([&](TxSessionAssociation& association) {
    EXPECT_EQ(NameHome::_narrow(association.find_storage_home(ORBS)), nullptr);
    EXPECT_EQ(PoaOrbHome::_narrow(association.find_storage_home(NAMES)), nullptr);
    EXPECT_NE(OrbHome::_narrow(association.find_storage_home(ORBS)), nullptr);
    EXPECT_TRUE(association.find_storage_home(ORBS)->storage_type().is_a("PSDL:Example/OrbData:1.0"));
    EXPECT_FALSE(association.find_storage_home(NAMES)->storage_type().is_a("PSDL:Example/OrbData:1.0"));
  });
}

TEST_F(StorageHomeTest, keeps_base_and_derived_members_in_one_record) {
  write([&](TxSessionAssociation& association) {
    orbs(association).create("orb", "process", ids_of({4, 2}), CORBA::Object::_nil());
  });
  write([&](TxSessionAssociation& association) {
    OrbHome& base_home = *OrbHome::_narrow(association.find_storage_home(ORBS));
    const OrbDataRef base = base_home.find_by_name("orb");
    EXPECT_EQ(base->process(), "process");
    const PoaOrbDataRef derived = PoaOrbDataRef::narrow(base);
    ASSERT_FALSE(derived.is_nil());
    EXPECT_THAT(numbers_of(derived->endpoints()), ElementsAre(4, 2));
    derived->process("other");
    EXPECT_EQ(base->process(), "other");
  });
}

TEST_F(StorageHomeTest, narrows_references_to_another_type_to_nil) {
  QZ_PSS::register_home<OrbHome>(manager(), "PSDL:ExampleImpl/OrbHomeImpl:1.0");
  read([&](TxSessionAssociation& association) {
    QZ_PSS::StorageObjectReference reference;
    reference.home_type_id = "PSDL:ExampleImpl/OrbHomeImpl:1.0";
    reference.pid = "1";
    const OrbDataRef base = OrbDataRef::from_reference(reference, association);
    EXPECT_FALSE(base.is_nil());
    EXPECT_TRUE(PoaOrbDataRef::narrow(base).is_nil());
    EXPECT_TRUE(PoaOrbDataRef::narrow(OrbDataRef()).is_nil());
  });
}

TEST_F(StorageHomeTest, gives_each_home_type_id_a_table_of_its_own) {
  constexpr const char* second = "PSDL:ExampleImpl/NameHomeImpl:2.0";
  QZ_PSS::register_home<NameHome>(manager(), second);
  add_name(1);
  write([&](TxSessionAssociation& association) {
    NameHome& home = *NameHome::_narrow(association.find_storage_home(second));
    EXPECT_THROW(home.find_by_id(id_of(1)), CosPersistentState::NotFound);
    const NameDataRef parent = names(association).find_by_id(id_of(1));
    home.create(id_of(1), "second", parent, IdList(), true, true);
    EXPECT_EQ(home.find_by_id(id_of(1))->parent()->name(), "n1");
  });
  read([&](TxSessionAssociation& association) { EXPECT_EQ(names(association).find_by_id(id_of(1))->name(), "n1"); });
}

TEST_F(StorageHomeTest, accepts_a_second_registration_of_the_same_type_only) {
  EXPECT_NO_THROW(QZ_PSS::register_home<NameHome>(manager(), NAMES));
  EXPECT_EQ(minor_of<CORBA::BAD_PARAM>([&] { QZ_PSS::register_home<PoaOrbHome>(manager(), NAMES); }),
            QZ_PSS::MINOR_BAD_DECLARATION);
  EXPECT_NE(QZ_PSS::last_error().find("PSDL:Example/NameData:1.0"), std::string::npos) << QZ_PSS::last_error();
}

TEST_F(StorageHomeTest, refuses_stored_records_of_another_type) {
  close();
  QZ_PSS::SessionManager_var other = QZ_PSS::SessionManagerImpl::open(url());
  EXPECT_EQ(minor_of<CORBA::BAD_PARAM>([&] { QZ_PSS::register_home<PoaOrbHome>(other, NAMES); }),
            QZ_PSS::MINOR_BAD_DECLARATION);
  EXPECT_NE(QZ_PSS::last_error().find("PSDL:Example/NameData:1.0"), std::string::npos) << QZ_PSS::last_error();
}

TEST_F(StorageHomeTest, refuses_invalid_declarations) {
  using QZ_PSS::StorageType;
  const StorageType spaced("PSDL:X:1.0", "X", NameData::ID, {NameData::ID, QZ_PSS::String("two words")});
  const StorageType reserved("PSDL:X:1.0", "X", NameData::ID, {NameData::ID, QZ_PSS::String("seq")});
  const StorageType twice("PSDL:X:1.0", "X", NameData::ID, {NameData::ID, NameData::NAME, NameData::NAME});
  const StorageType number_key("PSDL:X:1.0", "X", NameData::DYNAMIC, {NameData::ID, NameData::DYNAMIC});
  for (const StorageType* type : {&spaced, &reserved, &twice, &number_key})
    EXPECT_EQ(minor_of<CORBA::BAD_PARAM>([&] { register_as<NameHome>("PSDL:XHome:1.0", *type); }),
              QZ_PSS::MINOR_BAD_DECLARATION);
  for (const char* home_type_id : {"", "two words"})
    EXPECT_EQ(minor_of<CORBA::BAD_PARAM>([&] { QZ_PSS::register_home<NameHome>(manager(), home_type_id); }),
              QZ_PSS::MINOR_BAD_DECLARATION);
  EXPECT_EQ(minor_of<CORBA::BAD_PARAM>([] { StorageType("PSDL:X:1.0", "X", NameData::ID, {NameData::NAME}); }),
            QZ_PSS::MINOR_BAD_DECLARATION);
}

TEST_F(StorageHomeTest, adds_members_that_a_later_release_declares) {
  static const QZ_PSS::StorageType first("PSDL:Example/NameData:1.0", "NameData", NameData::ID,
                                         {NameData::ID, NameData::NAME});
  static const QZ_PSS::StorageType other_kind("PSDL:Example/NameData:1.0", "NameData", NameData::ID,
                                              {NameData::ID, QZ_PSS::ULong("name")});
  constexpr const char* home_id = "PSDL:Growing:1.0";
  register_as<NameHome>(home_id, first);
  write([&](TxSessionAssociation& association) {
    NameHome& home = *NameHome::_narrow(association.find_storage_home(home_id));
    home.create_named(id_of(1), "old");
  });

  reopen();
  EXPECT_EQ(minor_of<CORBA::BAD_PARAM>([&] { register_as<NameHome>(home_id, other_kind); }),
            QZ_PSS::MINOR_BAD_DECLARATION);
  register_as<NameHome>(home_id, NameData::storage_type());
  write([&](TxSessionAssociation& association) {
    const NameDataRef data = NameHome::_narrow(association.find_storage_home(home_id))->find_by_id(id_of(1));
    EXPECT_EQ(data->name(), "old");
    EXPECT_TRUE(data->parent().is_nil());
    EXPECT_FALSE(data->persistent());
    EXPECT_EQ(data->child_count(), 0U);
    data->add_child(id_of(2));
    EXPECT_THAT(numbers_of(data->children()), ElementsAre(2));
  });

  reopen();
  EXPECT_EQ(minor_of<CORBA::BAD_PARAM>([&] { register_as<NameHome>(home_id, first); }), QZ_PSS::MINOR_BAD_DECLARATION);
  EXPECT_NE(QZ_PSS::last_error().find("newer release"), std::string::npos) << QZ_PSS::last_error();
}

TEST_F(StorageHomeTest, is_registered_outside_store_transactions) {
  write([&](TxSessionAssociation&) {
    EXPECT_EQ(minor_of<CORBA::BAD_INV_ORDER>([&] { QZ_PSS::register_home<NameHome>(manager(), "PSDL:Late:1.0"); }),
              QZ_PSS::MINOR_IN_TRANSACTION);
  });
}

TEST_F(StorageHomeTest, keeps_its_key_unchanged) {
  add_name(1);
  write([&](TxSessionAssociation& association) {
    const NameDataRef data = names(association).find_by_id(id_of(1));
    EXPECT_EQ(minor_of<CORBA::BAD_PARAM>([&] { data->id(id_of(2)); }), QZ_PSS::MINOR_BAD_DECLARATION);
  });
  EXPECT_TRUE(has_name(1));
}

}  // namespace
}  // namespace Example
