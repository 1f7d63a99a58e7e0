// poaloc active: what runs.
#include <poa_locator_admin.hh>

#include "cli/commands.h"
#include "cli/failure.h"
#include "cli/poa_name.h"
#include "cli/repository.h"
#include "cli/text.h"

namespace poaloc {

namespace {

using QZ_LocatorAdmin::ActiveORBInfo;
using QZ_POALocatorAdmin::ActivePOA_var;
using QZ_POALocatorAdmin::ActivePOARegistry;

struct ActiveRow {
  std::string poa;
  std::string endpoint_id;
  ActiveORBInfo orb;
};

const Columns<ActiveRow> LIST_COLUMNS{
    {"POA", "name", [](const ActiveRow& r) { return Json(r.poa); }},
    {"ORB", "orb", [](const ActiveRow& r) { return text_or_null(r.orb.name); }},
    {"Process", "process", [](const ActiveRow& r) { return text_or_null(r.orb.process); }},
    {"State", "state", [](const ActiveRow& r) { return Json(state_text(r.orb.process_state)); }},
    {"PID", "pid", [](const ActiveRow& r) { return r.orb.pid ? Json(r.orb.pid) : Json(); }},
    {"Since", "since", [](const ActiveRow& r) { return time_json(r.orb.start_time); }},
    {"Activator", "activator_held", [](const ActiveRow& r) { return Json(bool{r.orb.activator_held}); }},
};

Columns<ActiveRow> show_columns() {
  auto columns = LIST_COLUMNS;
  columns.push_back({"Endpoint id", "endpoint_id", [](const ActiveRow& r) { return Json(r.endpoint_id); }});
  return columns;
}

const Columns<ActiveORBInfo> ORB_COLUMNS{
    {"ORB", "name", [](const ActiveORBInfo& i) { return Json(i.name.in()); }},
    {"Process", "process", [](const ActiveORBInfo& i) { return text_or_null(i.process); }},
    {"State", "state", [](const ActiveORBInfo& i) { return Json(state_text(i.process_state)); }},
    {"PID", "pid", [](const ActiveORBInfo& i) { return i.pid ? Json(i.pid) : Json(); }},
    {"Since", "since", [](const ActiveORBInfo& i) { return time_json(i.start_time); }},
    {"Activator", "activator_held", [](const ActiveORBInfo& i) { return Json(bool{i.activator_held}); }},
    {"Active POAs", "active_poas", [](const ActiveORBInfo& i) { return Json(i.number_of_poas); }},
};

struct Arguments {
  std::string name;
  std::string orb;
  bool orbs = false;
};

QZ_POALocatorAdmin::ActivePOARegistry_var registry_of(Connection& connection) {
  return connection.resolve<ActivePOARegistry>(QZ_POALocatorAdmin::ACTIVE_POA_REGISTRY);
}

std::string hex_of(const CORBA::OctetSeq& octets) {
  return to_hex({octets.get_buffer(), octets.get_buffer() + octets.length()});
}

// The POAs of one ORB; those that end while they are listed are left out.
void list_poas(Output::Listing<ActiveRow>& listing, QZ_POALocatorAdmin::POAActiveORB_ptr orb,
               const ActiveORBInfo& info) {
  QZ_POALocatorAdmin::ActivePOAList_var poas;
  try {
    poas = orb->poa_list();
  } catch (const CORBA::OBJECT_NOT_EXIST&) {
    return;
  }
  for (CORBA::ULong i = 0; i < poas->length(); ++i) {
    try {
      const QZ_POAIMRAdmin::FullyQualifiedName_var name = poas[i]->full_name();
      listing.add({poa_name_text(name), "", info});
    } catch (const CORBA::OBJECT_NOT_EXIST&) {
      // Ended meanwhile.
    }
  }
}

void list(Context& context, const Arguments& arguments) {
  Connection& connection = context.connection();
  const auto orbs = active_orbs(connection);
  if (arguments.orbs) {
    Output::Listing<ActiveORBInfo> listing(context.output(), ORB_COLUMNS,
                                           arguments.orb.empty() ? "No ORB is active." : "That ORB is not active.");
    for (const auto& [name, info] : orbs)
      if (arguments.orb.empty() || arguments.orb == name) listing.add(info);
    return listing.end();
  }
  const auto registry = connection.resolve<QZ_LocatorAdmin::ActiveORBRegistry>(QZ_LocatorAdmin::ACTIVE_ORB_REGISTRY);
  Output::Listing<ActiveRow> listing(context.output(), LIST_COLUMNS,
                                     arguments.orb.empty() ? "No POA is active." : "No POA of that ORB is active.");
  for (const auto& [name, info] : orbs) {
    if (!arguments.orb.empty() && arguments.orb != name) continue;
    const QZ_LocatorAdmin::ActiveORB_var orb = registry->find(name.c_str());
    const auto poa_orb = QZ_POALocatorAdmin::POAActiveORB::_narrow(orb);
    const QZ_POALocatorAdmin::POAActiveORB_var keep = poa_orb;
    if (!CORBA::is_nil(poa_orb)) list_poas(listing, poa_orb, info);
  }
  listing.end();
}

[[noreturn]] void fail_not_active(const std::string& what) {
  throw Failure(NOT_FOUND, what + " is not active: \"poaloc active list\" shows what is.");
}

ActivePOA_var find_active(Connection& connection, const CORBA::StringSeq& name) {
  ActivePOA_var poa = registry_of(connection)->find(name);
  if (CORBA::is_nil(poa)) fail_not_active("POA \"" + printable(poa_name_text(name)) + "\"");
  return poa;
}

void show(Context& context, const Arguments& arguments) {
  const auto name = parse_poa_name(arguments.name);
  const auto poa = find_active(context.connection(), name);
  ActiveRow row{poa_name_text(name), hex_of(QZ_POAIMRAdmin::POAId_var(poa->id())), {}};
  row.orb.process_state = QZ_LocatorAdmin::PROCESS_STOPPED;
  const QZ_POALocatorAdmin::POAActiveORB_var orb = poa->orb();
  if (!CORBA::is_nil(orb)) {
    const auto orbs = active_orbs(context.connection());
    const auto found = orbs.find(CORBA::String_var(orb->name()).in());
    if (found != orbs.end()) row.orb = found->second;
  }
  context.output().record(show_columns(), row);
}

void remove(Context& context, const Arguments& arguments) {
  Connection& connection = context.connection();
  if (arguments.name.empty() == arguments.orb.empty())
    throw Failure(
        USAGE,
        "What is to go is not clear: give either the name of an active POA or --orb with that of an active ORB.");
  std::string what;
  if (!arguments.name.empty()) {
    const auto name = parse_poa_name(arguments.name);
    what = "POA " + printable(poa_name_text(name));
    const auto poa = find_active(connection, name);
    context.confirm("Forget that " + what + " is active");
    connection.expect_changes();
    poa->destroy();
  } else {
    what = "ORB " + printable(arguments.orb);
    const auto registry = connection.resolve<QZ_LocatorAdmin::ActiveORBRegistry>(QZ_LocatorAdmin::ACTIVE_ORB_REGISTRY);
    const QZ_LocatorAdmin::ActiveORB_var orb = registry->find(arguments.orb.c_str());
    if (CORBA::is_nil(orb)) fail_not_active("ORB \"" + printable(arguments.orb) + "\"");
    context.confirm("Forget that " + what + " and all its POAs are active");
    connection.expect_changes();
    orb->destroy();
  }
  context.output().outcome(what + " does not count as active any more.",
                           {{"removed", arguments.name.empty() ? arguments.orb : arguments.name}});
}

}  // namespace

void add_active_commands(CLI::App& app, Context& context) {
  auto* group = app.add_subcommand("active", "What is active: POAs and ORBs that have registered or are being started");
  group->require_subcommand(1);
  const auto arguments = std::make_shared<Arguments>();
  const auto orb_of = [arguments](CLI::App* verb, const char* description) {
    verb->add_option("--orb", arguments->orb, description)->type_name("ORB");
  };

  auto* verb = group->add_subcommand("list", "List the active POAs with the ORBs that they are in");
  orb_of(verb, "Only those of this ORB");
  verb->add_flag("--orbs", arguments->orbs, "List the active ORBs instead");
  verb->callback([&context, arguments] { list(context, *arguments); });

  verb = group->add_subcommand("show", "Show all that is known of one active POA");
  verb->add_option("name", arguments->name, "Its name, as in Bank/Accounts")->type_name("POA")->required();
  verb->callback([&context, arguments] { show(context, *arguments); });

  verb = group->add_subcommand(
      "remove",
      "Forget that a POA, or an ORB with all its POAs, is active; the server is not touched, and requests that "
      "wait for it fail");
  verb->add_option("name", arguments->name, "The POA's name, as in Bank/Accounts")->type_name("POA");
  orb_of(verb, "The ORB, instead of one POA");
  verb->callback([&context, arguments] { remove(context, *arguments); });
}

}  // namespace poaloc
