// What a start makes of the active endpoints in the store, of which it reads some while it restores those before them.
#include <gmock/gmock.h>
#include <soci/soci.h>
#include <soci/sqlite3/soci-sqlite3.h>

#include "poa_locator/idl/poa_locator_store.h"
#include "tests/unit/poa_locator/active_fixture.h"

namespace {

using QZ_PoaLocatorStore::ActiveEndpointHome;
using testing::ElementsAre;
using testing::SizeIs;

constexpr unsigned LOADED = 31;  // the event
constexpr unsigned READ_AHEAD = ActiveEndpointRegistry::READ_AHEAD;

class ActiveEndpointLoadTest : public ActiveFixture {
 protected:
  static Names poa(unsigned number) { return {"Poa" + std::to_string(number)}; }

  // Records of POAs that do not run.
  void store(const std::vector<CORBA::OctetSeq>& ids) {
    QZ_PSS::in_transaction(transactions(), session_manager(), [&](QZ_PSS::TxSessionAssociation& association) {
      auto* home = ActiveEndpointHome::_narrow(association.find_storage_home(endpoints().home_type_id()));
      for (const CORBA::OctetSeq& id : ids)
        home->create(id, "", QZ_POA_PersistentServer::EndpointDynamicState::_nil(), CORBA::Object::_nil());
    });
  }
  // From one number to before the other.
  void store(unsigned begin, unsigned end) {
    std::vector<CORBA::OctetSeq> ids;
    for (unsigned number = begin; number < end; ++number) ids.push_back(*id_of(poa(number)));
    store(ids);
  }
  // Overwrites the state in the record that was stored last.
  void overwrite_last_state(const std::string& value) {
    soci::session session(soci::sqlite3, "db=" + store_file() + " timeout=30");
    std::string table;
    session << "select name from sqlite_master where type = 'table' and name like '%activeendpointdata'",
        soci::into(table);
    session << "update \"" + table + "\" set remote_endpoint = :value where seq = (select max(seq) from \"" + table +
                   "\")",
        soci::use(value);
  }
};

TEST_F(ActiveEndpointLoadTest, RestoresAllRecordsHoweverManyThereAre) {
  start();
  unsigned stored = 0;
  for (const unsigned count : {READ_AHEAD - 1, READ_AHEAD, READ_AHEAD + 1, 2 * READ_AHEAD + 1}) {
    store(stored, count);
    stored = count;
    stop();
    start();
    EXPECT_EQ(endpoints().number_of_entries(), count);
    EXPECT_FALSE(find(poa(0)).is_null());
    EXPECT_FALSE(find(poa(count - 1)).is_null());
  }
}

TEST_F(ActiveEndpointLoadTest, ARecordThatCannotBeRestoredEndsTheStartAndStaysStored) {
  start();
  add({"Bank"}, "orb");
  add({"Shop"}, "orb");
  stop();
  start_host();
  const QZ_Binding::ServerBinding_var taken = take_key_prefix(*id_of({"Shop"}));
  EXPECT_THROW(start_core(), CORBA::BAD_INV_ORDER);
  taken->destroy();
  start_core();
  EXPECT_TRUE(find({"Bank"}).is_dynamic_state_set());
  EXPECT_TRUE(find({"Shop"}).is_dynamic_state_set());
}

TEST_F(ActiveEndpointLoadTest, ARecordThatCannotBeRestoredEndsTheStartAlsoWhileOthersAreRead) {
  start();
  store(0, READ_AHEAD + 1);
  stop();
  start_host();
  const QZ_Binding::ServerBinding_var taken = take_key_prefix(*id_of(poa(0)));
  EXPECT_THROW(start_core(), CORBA::BAD_INV_ORDER);
  taken->destroy();
  start_core();
  EXPECT_EQ(endpoints().number_of_entries(), READ_AHEAD + 1);
}

TEST_F(ActiveEndpointLoadTest, ARecordThatCannotBeReadEndsTheStartAfterThoseBeforeIt) {
  start();
  store(0, READ_AHEAD + 1);
  stop();
  overwrite_last_state("no reference");
  log().clear();
  start_host();
  EXPECT_THROW(start_core(), CORBA::PERSIST_STORE);
  const auto loaded = log().events(LOADED);
  ASSERT_THAT(loaded, SizeIs(READ_AHEAD));
  EXPECT_THAT(loaded.back().parameters, ElementsAre(poa(READ_AHEAD - 1).front()));
  overwrite_last_state("");
  start_core();
  EXPECT_EQ(endpoints().number_of_entries(), READ_AHEAD + 1);
}

TEST_F(ActiveEndpointLoadTest, ARecordOfNoPoaEndsTheStartAfterThoseBeforeIt) {
  start();
  store(0, 3);
  store({octet_seq("no id")});
  store(3, 6);
  stop();
  log().clear();
  start_host();
  EXPECT_THROW(start_core(), CORBA::INV_OBJREF);
  EXPECT_THAT(log().events(LOADED), SizeIs(3));
}

}  // namespace
