#include "platform/pss/storage_object.h"

#include <gmock/gmock.h>

#include "tests/unit/platform/pss/store_test.h"

namespace Example {
namespace {

using QZ_PSS::TxSessionAssociation;
using testing::ElementsAre;
using testing::IsEmpty;

class StorageObjectTest : public StoreTest {
 protected:
  StorageObjectTest() { open(); }

  template <class Work>
  auto with_name(unsigned number, Work work) {
    return write([&](TxSessionAssociation& association) { return work(names(association).find_by_id(id_of(number))); });
  }
};

TEST_F(StorageObjectTest, reads_back_every_member_after_a_new_start) {
  write([&](TxSessionAssociation& association) {
    const NameDataRef root = names(association).create(id_of(0), "", NameDataRef(), ids_of({1}), false, false);
    names(association).create(id_of(1), "caf\xc3\xa9 \xff'\"", root, IdList(), true, true);
  });
  reopen();
  read([&](TxSessionAssociation& association) {
    const NameDataRef child = names(association).find_by_id(id_of(1));
    EXPECT_EQ(number_of(child->id()), 1U);
    EXPECT_EQ(child->name(), "caf\xc3\xa9 \xff'\"");
    EXPECT_TRUE(child->dynamic());
    EXPECT_TRUE(child->persistent());
    EXPECT_EQ(child->child_count(), 0U);
    const NameDataRef root = child->parent();
    EXPECT_EQ(root->name(), "");
    EXPECT_FALSE(root->dynamic());
    EXPECT_FALSE(root->persistent());
    EXPECT_TRUE(root->parent().is_nil());
    EXPECT_THAT(numbers_of(root->children()), ElementsAre(1));
  });
}

TEST_F(StorageObjectTest, keeps_identifiers_of_any_octets_and_length) {
  CORBA::OctetSeq all;
  all.length(256);
  for (CORBA::ULong i = 0; i < 256; ++i) all[i] = static_cast<CORBA::Octet>(i);
  const CORBA::OctetSeq none;
  write([&](TxSessionAssociation& association) {
    names(association).create(all, "all", NameDataRef(), IdList(), true, true);
    names(association).create(none, "none", NameDataRef(), IdList(), true, true);
  });
  read([&](TxSessionAssociation& association) {
    const CORBA::OctetSeq stored = names(association).find_by_id(all)->id();
    ASSERT_EQ(stored.length(), 256U);
    for (CORBA::ULong i = 0; i < 256; ++i) EXPECT_EQ(stored[i], i);
    EXPECT_EQ(names(association).find_by_id(none)->name(), "none");
  });
}

TEST_F(StorageObjectTest, keeps_what_setters_write) {
  add_name(1);
  add_name(2);
  write([&](TxSessionAssociation& association) {
    const NameDataRef data = names(association).find_by_id(id_of(1));
    data->name("changed");
    data->dynamic(false);
    data->parent(names(association).find_by_id(id_of(2)));
    EXPECT_EQ(data->name(), "changed");
  });
  read([&](TxSessionAssociation& association) {
    const NameDataRef data = names(association).find_by_id(id_of(1));
    EXPECT_EQ(data->name(), "changed");
    EXPECT_FALSE(data->dynamic());
    EXPECT_EQ(data->parent()->name(), "n2");
  });
  with_name(1, [](const NameDataRef& data) { data->parent(NameDataRef()); });
  with_name(1, [](const NameDataRef& data) { EXPECT_TRUE(data->parent().is_nil()); });
}

TEST_F(StorageObjectTest, shows_a_write_through_every_reference_of_the_transaction) {
  add_name(1);
  write([&](TxSessionAssociation& association) {
    const NameDataRef first = names(association).find_by_id(id_of(1));
    EXPECT_EQ(first->name(), "n1");
    write([&](TxSessionAssociation& inner) { names(inner).find_by_id(id_of(1))->name("changed"); });
    EXPECT_EQ(first->name(), "changed");
  });
}

TEST_F(StorageObjectTest, appends_and_removes_list_elements_in_order) {
  add_name(1);
  with_name(1, [](const NameDataRef& data) {
    for (const unsigned child : {5, 3, 5, 4}) data->add_child(id_of(child));
    EXPECT_EQ(data->child_count(), 4U);
  });
  with_name(1, [](const NameDataRef& data) {
    EXPECT_THAT(numbers_of(data->children()), ElementsAre(5, 3, 5, 4));
    EXPECT_TRUE(data->remove_child(id_of(5)));
    EXPECT_THAT(numbers_of(data->children()), ElementsAre(3, 5, 4));
    EXPECT_TRUE(data->remove_child(id_of(4)));
    data->add_child(id_of(9));
    EXPECT_THAT(numbers_of(data->children()), ElementsAre(3, 5, 9));
    EXPECT_FALSE(data->remove_child(id_of(77)));
    EXPECT_EQ(data->child_count(), 3U);
  });
}

TEST_F(StorageObjectTest, replaces_a_whole_list) {
  add_name(1);
  with_name(1, [](const NameDataRef& data) {
    data->children(ids_of({1, 2, 3}));
    data->children(ids_of({7, 6}));
    data->add_child(id_of(8));
  });
  with_name(1, [](const NameDataRef& data) {
    EXPECT_THAT(numbers_of(data->children()), ElementsAre(7, 6, 8));
    EXPECT_EQ(data->child_count(), 3U);
    data->children(IdList());
  });
  with_name(1, [](const NameDataRef& data) {
    EXPECT_THAT(numbers_of(data->children()), IsEmpty());
    EXPECT_EQ(data->child_count(), 0U);
  });
}

TEST_F(StorageObjectTest, keeps_the_lists_of_different_records_apart) {
  add_name(1);
  add_name(2);
  with_name(1, [](const NameDataRef& data) { data->add_child(id_of(10)); });
  with_name(2, [](const NameDataRef& data) {
    data->add_child(id_of(10));
    EXPECT_TRUE(data->remove_child(id_of(10)));
  });
  with_name(1, [](const NameDataRef& data) { EXPECT_THAT(numbers_of(data->children()), ElementsAre(10)); });
}

TEST_F(StorageObjectTest, keeps_lists_of_strings) {
  write([&](TxSessionAssociation& association) {
    const PoaOrbDataRef orb = orbs(association).create("orb", "", IdList(), CORBA::Object::_nil());
    orb->arguments({"--name", "", "a b"});
    orb->add_argument("last");
    EXPECT_TRUE(orb->remove_argument(""));
  });
  read([&](TxSessionAssociation& association) {
    const PoaOrbDataRef orb = PoaOrbDataRef::narrow(orbs(association).find_by_name("orb"));
    EXPECT_THAT(orb->arguments(), ElementsAre("--name", "a b", "last"));
  });
}

TEST_F(StorageObjectTest, keeps_numbers_to_their_limits) {
  write([&](TxSessionAssociation& association) {
    orbs(association).create("orb", "", IdList(), CORBA::Object::_nil())->start_time(~CORBA::ULongLong{0});
  });
  read([&](TxSessionAssociation& association) {
    EXPECT_EQ(orbs(association).find_by_name("orb")->start_time(), ~CORBA::ULongLong{0});
  });
}

TEST_F(StorageObjectTest, raises_object_not_exist_once_destroyed) {
  add_name(1);
  write([&](TxSessionAssociation& association) {
    const NameDataRef data = names(association).find_by_id(id_of(1));
    data->add_child(id_of(2));
    const NameDataRef same = NameDataRef::from_reference(data.to_reference(), association);
    data->destroy_object();
    for (const NameDataRef& ref : {data, same}) {
      const auto gone = QZ_PSS::MINOR_RECORD_GONE;
      EXPECT_FALSE(ref->exists());
      EXPECT_EQ(minor_of<CORBA::OBJECT_NOT_EXIST>([&] { ref->name(); }), gone);
      EXPECT_EQ(minor_of<CORBA::OBJECT_NOT_EXIST>([&] { ref->name("x"); }), gone);
      EXPECT_EQ(minor_of<CORBA::OBJECT_NOT_EXIST>([&] { ref->children(); }), gone);
      EXPECT_EQ(minor_of<CORBA::OBJECT_NOT_EXIST>([&] { ref->child_count(); }), gone);
      EXPECT_EQ(minor_of<CORBA::OBJECT_NOT_EXIST>([&] { ref->children(ids_of({3})); }), gone);
      EXPECT_EQ(minor_of<CORBA::OBJECT_NOT_EXIST>([&] { ref->add_child(id_of(3)); }), gone);
      EXPECT_EQ(minor_of<CORBA::OBJECT_NOT_EXIST>([&] { ref->remove_child(id_of(3)); }), gone);
      EXPECT_EQ(minor_of<CORBA::OBJECT_NOT_EXIST>([&] { ref->destroy_object(); }), gone);
    }
  });
  EXPECT_FALSE(has_name(1));
}

TEST_F(StorageObjectTest, leaves_no_list_behind_when_destroyed) {
  add_name(1);
  with_name(1, [](const NameDataRef& data) {
    data->children(ids_of({2, 3}));
    data->destroy_object();
  });
  add_name(1);
  with_name(1, [](const NameDataRef& data) { EXPECT_THAT(numbers_of(data->children()), IsEmpty()); });
}

TEST_F(StorageObjectTest, lets_a_reference_outlive_the_record_that_it_names) {
  add_name(1);
  add_name(2);
  write([&](TxSessionAssociation& association) {
    names(association).find_by_id(id_of(2))->parent(names(association).find_by_id(id_of(1)));
    names(association).find_by_id(id_of(1))->destroy_object();
  });
  add_name(3);
  with_name(2, [](const NameDataRef& data) {
    const NameDataRef parent = data->parent();
    EXPECT_FALSE(parent.is_nil());
    EXPECT_EQ(minor_of<CORBA::OBJECT_NOT_EXIST>([&] { parent->name(); }), QZ_PSS::MINOR_RECORD_GONE);
  });
}

TEST_F(StorageObjectTest, refuses_the_use_of_a_nil_reference) {
  const NameDataRef nil;
  EXPECT_TRUE(nil.is_nil());
  EXPECT_EQ(minor_of<CORBA::OBJECT_NOT_EXIST>([&] { nil->name(); }), QZ_PSS::MINOR_RECORD_GONE);
  EXPECT_EQ(minor_of<CORBA::OBJECT_NOT_EXIST>([&] { nil.to_reference(); }), QZ_PSS::MINOR_RECORD_GONE);
}

}  // namespace
}  // namespace Example
