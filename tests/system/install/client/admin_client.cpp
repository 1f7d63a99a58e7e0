// An administrator's client as anybody may write it: it is built from the installed IDL alone, outside of this tree.
// Prints what it does; argv[1]: the locator, "corbaloc::HOST:PORT".
#include <cstdio>
#include <string>

#include "poa_locator_admin.hh"
#include "qz_imr_admin.hh"

namespace {

CORBA::ORB_var orb;
std::string locator;

template <class Interface>
typename Interface::_var_type resolve(const char* name) {
  const CORBA::Object_var object = orb->string_to_object((locator + "/" + name).c_str());
  return Interface::_narrow(object);
}

template <class Function>
void show_exception(const char* what, Function function) {
  try {
    function();
    std::printf("%s: done\n", what);
  } catch (const CORBA::SystemException& e) {
    std::printf("%s: %s 0x%08lX\n", what, e._name(), static_cast<unsigned long>(e.minor()));
  } catch (const CORBA::UserException& e) {
    std::printf("%s: %s\n", what, e._name());
  }
}

std::string text(char* returned) {
  return CORBA::String_var(returned).in();
}

std::string path_of(const CORBA::StringSeq& name) {
  std::string path;
  for (CORBA::ULong i = 0; i < name.length(); ++i) path += "/" + std::string(name[i]);
  return path;
}

void walk(QZ_POAIMRAdmin::POA_ptr poa) {
  const QZ_POAIMRAdmin::FullyQualifiedName_var name = poa->full_name();
  std::printf("  %s orb=%s persistent=%d dynamic=%d\n", (path_of(name) + "/").c_str(), text(poa->orb_name()).c_str(),
              poa->persistent(), poa->allow_dynamic_registration());
  QZ_POAIMRAdmin::POAList_var children = poa->children();
  for (CORBA::ULong i = 0; i < children->length(); ++i) walk(children[i]);
}

void administer_poas() {
  using namespace QZ_POAIMRAdmin;
  const POARegistry_var registry = resolve<POARegistry>(POA_REGISTRY);
  const POA_var root = registry->root_namespace();
  std::puts("tree");
  walk(root);
  const POA_var shop = root->add("Shop", true, true, "teller");
  const POA_var cart = shop->add("Cart", true, false, "teller");
  show_exception("taken name", [&] { POA_var(root->add("Shop", true, true, "")); });
  show_exception("empty name", [&] { POA_var(root->add("", true, true, "")); });
  show_exception("namespace of an ORB", [&] { POA_var(root->add("Space", false, true, "teller")); });
  show_exception("observer", [&] { registry->register_observer(Observer::_nil()); });
  show_exception("no observer", [&] { registry->unregister_observer(1); });
  cart->orb_name("vault");
  cart->allow_dynamic_registration(true);
  std::puts("added and changed");
  walk(root);
}

void administer_host() {
  using namespace QZ_IMRAdmin;
  using namespace QZ_LocationCommon;
  const ProcessRegistry_var processes = resolve<ProcessRegistry>(PROCESS_REGISTRY);
  ProcessInfo info;
  info.name = "bank";
  info.argv.length(1);
  info.argv[0] = "/bin/true";
  info.startup_time_limit = 0;
  info.stop_grace = 1000;
  const Process_var bank = processes->add(info);
  show_exception("taken process", [&] { Process_var(processes->add(info)); });
  info.argv[0] = "";
  show_exception("process without a program", [&] { bank->change(info); });
  info.argv[0] = "/bin/false";
  bank->change(info);
  const ProcessInfo_var changed = bank->info();
  std::printf("bank runs %s\n", changed->argv[0].in());

  const ORBRegistry_var orbs = resolve<ORBRegistry>(ORB_REGISTRY);
  ORBInfo teller_info;
  teller_info.name = "teller";
  teller_info.process = "bank";
  const ORB_var teller = orbs->add(teller_info);
  show_exception("taken ORB", [&] { ORB_var(orbs->add(teller_info)); });
  show_exception("unknown process", [&] { teller->change_process("none"); });
  show_exception("process in use", [&] { bank->destroy(DESTROY_NORMAL); });
  show_exception("ORB in use", [&] { teller->destroy(DESTROY_NORMAL); });
  show_exception("ORB with all its POAs", [&] { teller->destroy(DESTROY_DEEP); });
  show_exception("ORB that is gone", [&] { CORBA::String_var(teller->name()); });
  show_exception("process", [&] { bank->destroy(DESTROY_NORMAL); });
  show_exception("process that is gone", [&] { bank->destroy(DESTROY_NORMAL); });
}

void list_active() {
  using namespace QZ_POALocatorAdmin;
  const ActivePOARegistry_var registry = resolve<ActivePOARegistry>(ACTIVE_POA_REGISTRY);
  std::printf("active: %lu\n", static_cast<unsigned long>(registry->number_of_entries()));
  ActivePOAList_var list = registry->list();
  POAActiveORB_var active_orb;
  for (CORBA::ULong i = 0; i < list->length(); ++i) {
    const QZ_POAIMRAdmin::FullyQualifiedName_var name = list[i]->full_name();
    active_orb = list[i]->orb();
    std::printf("  %s in %s\n", path_of(name).c_str(), text(active_orb->name()).c_str());
  }
  show_exception("observer of active POAs", [&] { registry->register_observer(Observer::_nil()); });
  show_exception("no observer of active POAs", [&] { registry->unregister_observer(1); });
  active_orb->destroy();
  show_exception("active ORB that is gone", [&] { CORBA::String_var(active_orb->name()); });
  std::printf("active: %lu\n", static_cast<unsigned long>(registry->number_of_entries()));
}

void destroy_poas() {
  using namespace QZ_POAIMRAdmin;
  const POARegistry_var registry = resolve<POARegistry>(POA_REGISTRY);
  const POA_var root = registry->root_namespace();
  const POA_var bank = root->lookup("Bank");
  const POA_var accounts = bank->lookup("Accounts");
  bank->destroy();
  show_exception("POA below one that is gone", [&] { CORBA::String_var(accounts->name()); });
  std::puts("tree");
  walk(root);
}

}  // namespace

int main(int argc, char** argv) {
  locator = argv[1];
  orb = CORBA::ORB_init(argc, argv);
  try {
    administer_poas();
    administer_host();
    list_active();
    destroy_poas();
  } catch (const CORBA::Exception& e) {
    std::printf("failed: %s\n", e._name());
    return 1;
  }
  orb->destroy();
  return 0;
}
