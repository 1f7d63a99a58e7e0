// The administration's objects, called over the wire.
#include <poa_imr_admin.hh>
#include <poa_locator_admin.hh>

#include "tests/system/registration/registration_test.h"

namespace {

using QZ_POAIMRAdmin::FullyQualifiedName;
using QZ_POAIMRAdmin::POA_var;
using QZ_POAIMRAdmin::POAList_var;
using QZ_POALocatorAdmin::ActivePOA_var;
using QZ_POALocatorAdmin::ActivePOAList_var;
using support::minor_code;

FullyQualifiedName full_name(const std::string& path) {
  FullyQualifiedName name;
  for (const std::string& part : support::split_path(path)) {
    name.length(name.length() + 1);
    name[name.length() - 1] = part.c_str();
  }
  return name;
}

// Takes over what an operation returns.
std::string text(char* value) {
  return CORBA::String_var(value).in();
}

template <typename Exception, typename Function>
void expect_minor(std::uint32_t number, Function function) {
  const auto error = raised_by<Exception>(function);
  ASSERT_TRUE(error);
  EXPECT_EQ(error->minor(), minor_code(number));
  EXPECT_EQ(error->completed(), CORBA::COMPLETED_NO);
}

class AdministrationTest : public RegistrationTest {
 protected:
  QZ_POAIMRAdmin::POARegistry_var repository() const {
    return support::resolve<QZ_POAIMRAdmin::POARegistry>(m_locator, "POARegistry");
  }
  QZ_POALocatorAdmin::ActivePOARegistry_var active() const {
    return support::resolve<QZ_POALocatorAdmin::ActivePOARegistry>(m_locator, "ActivePOARegistry");
  }
};

TEST_F(AdministrationTest, RepositoryShowsWhatServersHaveRegistered) {
  m_server.add("Bank");
  m_server.add("Bank/Accounts");
  const POA_var root = repository()->root_namespace();
  POAList_var top = root->children();
  ASSERT_EQ(top->length(), 1U);
  EXPECT_EQ(text(top[0]->name()), "Bank");
  EXPECT_EQ(text(top[0]->orb_name()), "server");
  EXPECT_TRUE(top[0]->persistent());
  const POA_var accounts = repository()->find(full_name("Bank/Accounts"));
  const POA_var parent = accounts->parent();
  EXPECT_EQ(text(parent->name()), "Bank");
  const QZ_POAIMRAdmin::POAId_var id = accounts->id();
  EXPECT_EQ(support::octets_of(id.in()), m_server.id_of("Bank/Accounts"));
  EXPECT_EQ(POAList_var(repository()->list_in_orb_name("server"))->length(), 2U);
  EXPECT_EQ(POAList_var(repository()->list_in_orb_name("nobody"))->length(), 0U);
}

TEST_F(AdministrationTest, NamesThatAreNotThereGiveNoReference) {
  EXPECT_TRUE(CORBA::is_nil(POA_var(repository()->find(full_name("Nobody")))));
  EXPECT_TRUE(CORBA::is_nil(POA_var(POA_var(repository()->root_namespace())->lookup("Nobody"))));
  EXPECT_TRUE(CORBA::is_nil(ActivePOA_var(active()->find(full_name("Nobody")))));
}

TEST_F(AdministrationTest, RootHasNoParent) {
  const POA_var root = repository()->root_namespace();
  EXPECT_THROW(POA_var(root->parent()), CORBA::OBJECT_NOT_EXIST);
}

TEST_F(AdministrationTest, ArgumentsOfNewEntriesAreChecked) {
  const POA_var root = repository()->root_namespace();
  expect_minor<CORBA::BAD_PARAM>(0, [&] { POA_var(root->add("", true, true, "server")); });
  expect_minor<CORBA::BAD_PARAM>(4, [&] { POA_var(root->add("Space", false, true, "server")); });
}

TEST_F(AdministrationTest, AddOfAnExistingNameCarriesItsFullName) {
  const POA_var root = repository()->root_namespace();
  const POA_var space = root->add("Space", false, true, "");
  const POA_var bank = space->add("Bank", true, true, "server");
  EXPECT_TRUE(m_locator.log().wait_for(7, {"Space"}));
  const auto refusal =
      raised_by<QZ_POAIMRAdmin::POAAlreadyRegistered>([&] { POA_var(space->add("Bank", false, true, "")); });
  ASSERT_TRUE(refusal);
  ASSERT_EQ(refusal->name.length(), 2U);
  EXPECT_STREQ(refusal->name[0], "Space");
  EXPECT_STREQ(refusal->name[1], "Bank");
  EXPECT_EQ(text(bank->orb_name()), "server");
}

TEST_F(AdministrationTest, DestroyedEntryTakesItsChildrenWithItAndIsGoneForItsHolders) {
  m_server.register_and_leave({"Bank", "Bank/Accounts"});
  const POA_var bank = repository()->find(full_name("Bank"));
  const POA_var accounts = repository()->find(full_name("Bank/Accounts"));
  bank->destroy();
  expect_minor<CORBA::OBJECT_NOT_EXIST>(0, [&] { CORBA::String_var(accounts->name()); });
  EXPECT_TRUE(m_locator.log().wait_for(40, {"Bank/Accounts", "server"}));
  EXPECT_TRUE(m_locator.log().wait_for(40, {"Bank", "server"}));
  EXPECT_TRUE(is_unknown(m_server, "Bank"));
}

TEST_F(AdministrationTest, ActiveStateShowsWhatRuns) {
  EXPECT_EQ(active()->number_of_entries(), 0U);
  m_server.add("Bank");
  m_server.add("Bank/Accounts");
  const ActivePOAList_var list = active()->list();
  EXPECT_EQ(list->length(), 2U);
  EXPECT_EQ(active()->number_of_entries(), 2U);
  const ActivePOA_var bank = active()->find(full_name("Bank"));
  EXPECT_EQ(text(bank->name()), "Bank");
  const QZ_POALocatorAdmin::POAActiveORB_var orb = bank->orb();
  EXPECT_EQ(text(orb->name()), "server");
  EXPECT_EQ(ActivePOAList_var(orb->poa_list())->length(), 2U);
  EXPECT_EQ(text(POA_var(bank->poa_info())->name()), "Bank");
}

TEST_F(AdministrationTest, DestroyedActivePoaAndOrbAreInactive) {
  m_server.add("Bank");
  m_server.add("Audit");
  const ActivePOA_var bank = active()->find(full_name("Bank"));
  const QZ_POALocatorAdmin::POAActiveORB_var orb = bank->orb();
  bank->destroy();
  EXPECT_EQ(active()->number_of_entries(), 1U);
  EXPECT_TRUE(support::is_exception(call(m_server.key_of("Bank")), "TRANSIENT", minor_code(0)));
  orb->destroy();
  EXPECT_EQ(active()->number_of_entries(), 0U);
  expect_minor<CORBA::OBJECT_NOT_EXIST>(7, [&] { CORBA::String_var(orb->name()); });
  // The server may register again.
  EXPECT_EQ(m_server.add("Bank"), 2U);
}

// Whether the object refuses the operation without arguments as one that it does not have.
bool refuses(CORBA::Object_ptr object, const char* operation) {
  CORBA::Request_var request = object->_request(operation);
  request->set_return_type(CORBA::_tc_void);
  request->invoke();
  return dynamic_cast<CORBA::BAD_OPERATION*>(request->env()->exception()) != nullptr;
}

TEST_F(AdministrationTest, OperationsThatAnInterfaceDoesNotHaveAreNotDispatched) {
  m_server.add("Bank");
  const POA_var poa = repository()->find(full_name("Bank"));
  const ActivePOA_var active_poa = active()->find(full_name("Bank"));
  const QZ_POALocatorAdmin::POAActiveORB_var orb = active_poa->orb();
  for (const char* operation : {"_get_children", "_get_parent", "_get_destroy", "_set_id", "_set_name",
                                "_set_full_name", "_set_persistent", "full_name", "find"})
    EXPECT_TRUE(refuses(poa, operation)) << operation;
  for (const char* operation : {"_set_root_namespace", "_get_find", "root_namespace", "children"})
    EXPECT_TRUE(refuses(repository(), operation)) << operation;
  for (const char* operation : {"_set_id", "_set_name", "_set_full_name", "_set_poa_info", "_set_orb", "_get_destroy"})
    EXPECT_TRUE(refuses(active_poa, operation)) << operation;
  for (const char* operation : {"_get_list", "_get_number_of_entries", "list_in_orb_name"})
    EXPECT_TRUE(refuses(active(), operation)) << operation;
  for (const char* operation : {"_set_name", "_set_orb_info", "_set_process", "_set_poa_list", "poa_list"})
    EXPECT_TRUE(refuses(orb, operation)) << operation;
  // What they do have is not refused, and nothing above has done any harm.
  EXPECT_FALSE(refuses(poa, "_get_name"));
  EXPECT_FALSE(refuses(orb, "_get_name"));
  EXPECT_EQ(text(poa->name()), "Bank");
  EXPECT_EQ(active()->number_of_entries(), 1U);
}

TEST_F(AdministrationTest, ObserversAreNotSupported) {
  expect_minor<CORBA::NO_IMPLEMENT>(1, [&] { repository()->register_observer(QZ_POAIMRAdmin::Observer::_nil()); });
  expect_minor<CORBA::NO_IMPLEMENT>(2, [&] { repository()->unregister_observer(1); });
  expect_minor<CORBA::NO_IMPLEMENT>(3, [&] { active()->register_observer(QZ_POALocatorAdmin::Observer::_nil()); });
  expect_minor<CORBA::NO_IMPLEMENT>(4, [&] { active()->unregister_observer(1); });
}

}  // namespace
