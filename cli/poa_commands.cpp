// poaloc poa: the repository of POAs.

#include <poa_locator_admin.hh>

#include "cli/commands.h"
#include "cli/failure.h"
#include "cli/poa_name.h"
#include "cli/poa_tree.h"
#include "cli/repository.h"
#include "cli/text.h"

namespace poaloc {

namespace {

using QZ_IMRAdmin::POAEntry;

const Columns<POAEntry> LIST_COLUMNS{
    {"POA", "name", [](const POAEntry& e) { return Json(poa_name_text(e.name)); }},
    {"Persistent", "persistent", [](const POAEntry& e) { return Json(bool{e.persistent}); }},
    {"Dynamic", "dynamic", [](const POAEntry& e) { return Json(bool{e.allow_dynamic_registration}); }},
    {"ORB", "orb", [](const POAEntry& e) { return text_or_null(e.orb_name); }},
};

struct Details {
  POAEntry entry;
  std::string process;
  bool active = false;
  std::string id;
};

const Columns<Details> SHOW_COLUMNS{
    {"POA", "name", [](const Details& d) { return Json(poa_name_text(d.entry.name)); }},
    {"Persistent", "persistent", [](const Details& d) { return Json(bool{d.entry.persistent}); }},
    {"Dynamic registration", "dynamic",
     [](const Details& d) { return Json(bool{d.entry.allow_dynamic_registration}); }},
    {"ORB", "orb", [](const Details& d) { return text_or_null(d.entry.orb_name); }},
    {"Process", "process", [](const Details& d) { return text_or_null(d.process.c_str()); }},
    {"Active", "active", [](const Details& d) { return Json(d.active); }},
    {"Endpoint id", "endpoint_id", [](const Details& d) { return Json(d.id); }},
};

struct Arguments {
  std::string name = "/";
  std::string orb;
  unsigned depth = 0;
  bool no_orb = false;
  bool is_namespace = false;
  bool parents = false;
  bool dynamic = false;
  std::string dynamic_choice;
};

Json named(const char* what, const CORBA::StringSeq& name) {
  return {{what, poa_name_text(name)}};
}

void list(Context& context, const Arguments& arguments) {
  const auto prefix = parse_poa_name(arguments.name);
  find_poa(context.connection(), prefix);
  Output::Listing<POAEntry> listing(context.output(), LIST_COLUMNS,
                                    arguments.orb.empty() ? "There is no POA." : "There is no POA of that ORB.");
  for_each_poa(context.connection(), [&](const POAEntry& entry) {
    if (entry.name.length() == 0 || !starts_with(entry.name, prefix)) return;
    if (!arguments.orb.empty() && arguments.orb != entry.orb_name.in()) return;
    listing.add(entry);
  });
  listing.end();
}

void tree(Context& context, const Arguments& arguments) {
  const auto top = parse_poa_name(arguments.name);
  find_poa(context.connection(), top);
  PoaTree tree(top);
  for_each_poa(context.connection(), [&](const POAEntry& entry) { tree.add(entry); });
  if (context.output().json()) {
    context.output().object(tree.to_json(arguments.depth));
  } else {
    tree.print(context.output(), arguments.depth);
  }
}

void show(Context& context, const Arguments& arguments) {
  Connection& connection = context.connection();
  const auto name = parse_poa_name(arguments.name);
  const auto poa = find_poa(connection, name);
  Details details{entry_of(poa, name), "", false, ""};
  const QZ_POAIMRAdmin::POAId_var id = poa->id();
  details.id = to_hex({id->get_buffer(), id->get_buffer() + id->length()});
  if (*details.entry.orb_name) {
    const auto orbs = connection.resolve<QZ_IMRAdmin::ORBRegistry>(QZ_IMRAdmin::ORB_REGISTRY);
    const QZ_IMRAdmin::ORB_var orb = orbs->find(details.entry.orb_name);
    if (!CORBA::is_nil(orb)) details.process = QZ_LocationCommon::ORBInfo_var(orb->info())->process;
  }
  const auto active =
      connection.resolve<QZ_POALocatorAdmin::ActivePOARegistry>(QZ_POALocatorAdmin::ACTIVE_POA_REGISTRY);
  details.active = !CORBA::is_nil(QZ_POALocatorAdmin::ActivePOA_var(active->find(name)));
  context.output().record(SHOW_COLUMNS, details);
}

// The parent of what is added; those that are missing are added as namespaces.
QZ_POAIMRAdmin::POA_var parent_of(Connection& connection, const CORBA::StringSeq& name, bool make) {
  const auto registry = connection.resolve<QZ_POAIMRAdmin::POARegistry>(QZ_POAIMRAdmin::POA_REGISTRY);
  const auto parent = parent_name(name);
  QZ_POAIMRAdmin::POA_var found = registry->find(parent);
  if (!CORBA::is_nil(found)) return found;
  if (!make)
    throw Failure(NOT_FOUND, "There is no POA \"" + printable(poa_name_text(parent)) +
                                 "\" to add it to: add that first, or give --parents.");
  const auto above = parent_of(connection, parent, true);
  connection.expect_changes();
  try {
    return above->add(parent[parent.length() - 1], false, false, "");
  } catch (const QZ_POAIMRAdmin::POAAlreadyRegistered&) {
    // Somebody else has added it meanwhile.
    return find_poa(connection, parent);
  }
}

void add(Context& context, const Arguments& arguments) {
  const auto name = parse_poa_name(arguments.name);
  if (name.length() == 0) throw Failure(REFUSED, "The root exists always: give the name of what is below it.");
  if (arguments.is_namespace && !arguments.orb.empty())
    throw Failure(USAGE, "A namespace belongs to no ORB: leave out --orb or --namespace.");
  const auto parent = parent_of(context.connection(), name, arguments.parents);
  context.connection().expect_changes();
  try {
    const QZ_POAIMRAdmin::POA_var added =
        parent->add(name[name.length() - 1], !arguments.is_namespace, arguments.dynamic, arguments.orb.c_str());
  } catch (const QZ_POAIMRAdmin::POAAlreadyRegistered& e) {
    throw Failure(
        REFUSED, "POA \"" + printable(poa_name_text(e.name)) + "\" exists already: change it with \"poaloc poa set\".");
  }
  context.output().outcome("POA " + printable(poa_name_text(name)) + " added.", named("added", name));
}

void set(Context& context, const Arguments& arguments) {
  const auto name = parse_poa_name(arguments.name);
  const bool has_orb = arguments.no_orb || !arguments.orb.empty();
  const bool has_dynamic = !arguments.dynamic_choice.empty();
  if (!has_orb && !has_dynamic) throw Failure(USAGE, "Nothing is to be changed: give --orb, --no-orb or --dynamic.");
  const auto poa = find_poa(context.connection(), name);
  if (!arguments.orb.empty() && !poa->persistent())
    throw Failure(REFUSED, "\"" + printable(poa_name_text(name)) +
                               "\" is a namespace, which belongs to no ORB: name a POA below it.");
  context.connection().expect_changes();
  if (has_orb) poa->orb_name(arguments.orb.c_str());
  if (has_dynamic) poa->allow_dynamic_registration(arguments.dynamic_choice == "yes");
  context.output().outcome("POA " + printable(poa_name_text(name)) + " changed.", named("changed", name));
}

void remove(Context& context, const Arguments& arguments) {
  const auto name = parse_poa_name(arguments.name);
  if (name.length() == 0) throw Failure(REFUSED, "The root cannot be removed: remove what is below it.");
  const auto poa = find_poa(context.connection(), name);
  context.confirm("Remove POA " + printable(poa_name_text(name)) + " and everything below it");
  context.connection().expect_changes();
  poa->destroy();
  context.output().outcome("POA " + printable(poa_name_text(name)) + " removed.", named("removed", name));
}

}  // namespace

void add_poa_commands(CLI::App& app, Context& context) {
  auto* group = app.add_subcommand("poa", "The repository of POAs: which POA belongs to which ORB");
  group->require_subcommand(1);
  const auto arguments = std::make_shared<Arguments>();
  const auto name_of = [arguments](CLI::App* verb, const char* description) {
    return verb->add_option("name", arguments->name, description)->type_name("POA");
  };
  const auto orb_of = [arguments](CLI::App* verb, const char* description) {
    return verb->add_option("--orb", arguments->orb, description)->type_name("ORB");
  };

  auto* verb = group->add_subcommand("tree", "Show the POAs as a tree");
  name_of(verb, "Only from this POA down");
  verb->add_option("--depth", arguments->depth, "Only so many levels below it")->type_name("NUMBER");
  verb->callback([&context, arguments] { tree(context, *arguments); });

  verb = group->add_subcommand("list", "List the POAs");
  name_of(verb, "Only from this POA down");
  orb_of(verb, "Only those of this ORB");
  verb->callback([&context, arguments] { list(context, *arguments); });

  verb = group->add_subcommand("show", "Show all that is known of one POA");
  name_of(verb, "Its name, as in Bank/Accounts")->required();
  verb->callback([&context, arguments] { show(context, *arguments); });

  verb = group->add_subcommand("add", "Add a POA, or a namespace");
  name_of(verb, "Its name, as in Bank/Accounts")->required();
  orb_of(verb, "The ORB that it belongs to");
  verb->add_flag("--namespace", arguments->is_namespace, "It only holds POAs, and is none itself");
  verb->add_flag("--dynamic", arguments->dynamic, "Servers may register POAs below it that are not listed");
  verb->add_flag("-p,--parents", arguments->parents, "Add the namespaces above it where they are missing");
  verb->callback([&context, arguments] { add(context, *arguments); });

  verb = group->add_subcommand("set", "Change a POA");
  name_of(verb, "Its name, as in Bank/Accounts; / is the root")->required();
  auto* orb = orb_of(verb, "The ORB that it belongs to");
  verb->add_flag("--no-orb", arguments->no_orb, "It belongs to no ORB")->excludes(orb);
  verb->add_option("--dynamic", arguments->dynamic_choice,
                   "Whether servers may register POAs below it that are not listed")
      ->type_name("CHOICE")
      ->check(CLI::IsMember({"yes", "no"}));
  verb->callback([&context, arguments] { set(context, *arguments); });

  verb = group->add_subcommand("remove", "Remove a POA with everything below it");
  name_of(verb, "Its name, as in Bank/Accounts")->required();
  verb->callback([&context, arguments] { remove(context, *arguments); });
}

}  // namespace poaloc
