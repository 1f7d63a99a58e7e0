// poaloc orb: the server ORBs of the repository.
#include "cli/commands.h"
#include "cli/destroy_options.h"
#include "cli/failure.h"
#include "cli/repository.h"
#include "cli/text.h"

namespace poaloc {

namespace {

struct OrbRow {
  QZ_LocationCommon::ORBInfo info;
  const QZ_LocatorAdmin::ActiveORBInfo* active = nullptr;
};

const Columns<OrbRow> COLUMNS{
    {"ORB", "name", [](const OrbRow& r) { return Json(r.info.name.in()); }},
    {"Process", "process", [](const OrbRow& r) { return text_or_null(r.info.process); }},
    {"Active", "active", [](const OrbRow& r) { return Json(r.active != nullptr); }},
    {"State", "state", [](const OrbRow& r) { return r.active ? Json(state_text(r.active->process_state)) : Json(); }},
    {"PID", "pid", [](const OrbRow& r) { return r.active && r.active->pid ? Json(r.active->pid) : Json(); }},
    {"Since", "since", [](const OrbRow& r) { return r.active ? time_json(r.active->start_time) : Json(); }},
    {"Activator", "activator_held",
     [](const OrbRow& r) { return r.active ? Json(bool{r.active->activator_held}) : Json(); }},
    {"Active POAs", "active_poas", [](const OrbRow& r) { return r.active ? Json(r.active->number_of_poas) : Json(0); }},
};

struct Arguments {
  std::string name;
  std::string process;
  bool no_process = false;
  DestroyOptions destroy;
};

OrbRow row_of(const QZ_LocationCommon::ORBInfo& info,
              const std::map<std::string, QZ_LocatorAdmin::ActiveORBInfo>& active) {
  const auto found = active.find(info.name.in());
  return {info, found == active.end() ? nullptr : &found->second};
}

void list(Context& context, const Arguments& arguments) {
  Connection& connection = context.connection();
  const auto active = active_orbs(connection);
  const auto registry = connection.resolve<QZ_IMRAdmin::ORBRegistry>(QZ_IMRAdmin::ORB_REGISTRY);
  Output::Listing<OrbRow> listing(context.output(), COLUMNS,
                                  arguments.process.empty() ? "There is no ORB." : "There is no ORB of that process.");
  for_each_entry([&](auto&&... a) { return registry->list(a...); },
                 [&](const QZ_LocationCommon::ORBInfo& info) {
                   if (arguments.process.empty() || arguments.process == info.process.in())
                     listing.add(row_of(info, active));
                 });
  listing.end();
}

void show(Context& context, const Arguments& arguments) {
  const auto orb = find_orb(context.connection(), arguments.name);
  const auto active = active_orbs(context.connection());
  context.output().record(COLUMNS, row_of(QZ_LocationCommon::ORBInfo_var(orb->info()), active));
}

void add(Context& context, const Arguments& arguments) {
  const auto registry = context.connection().resolve<QZ_IMRAdmin::ORBRegistry>(QZ_IMRAdmin::ORB_REGISTRY);
  QZ_LocationCommon::ORBInfo info;
  info.name = arguments.name.c_str();
  info.process = arguments.process.c_str();
  context.connection().expect_changes();
  try {
    const QZ_IMRAdmin::ORB_var added = registry->add(info);
  } catch (const QZ_IMRAdmin::AlreadyExists&) {
    throw Failure(REFUSED,
                  "ORB \"" + printable(arguments.name) + "\" exists already: change it with \"poaloc orb set\".");
  } catch (const QZ_IMRAdmin::InvalidValue& e) {
    fail_invalid("ORB", e);
  }
  context.output().outcome("ORB " + printable(arguments.name) + " added.", {{"added", arguments.name}});
}

void set(Context& context, const Arguments& arguments) {
  if (arguments.process.empty() && !arguments.no_process)
    throw Failure(USAGE, "Nothing is to be changed: give --process or --no-process.");
  const auto orb = find_orb(context.connection(), arguments.name);
  context.connection().expect_changes();
  try {
    orb->change_process(arguments.process.c_str());
  } catch (const QZ_IMRAdmin::InvalidValue& e) {
    fail_invalid("ORB", e);
  }
  context.output().outcome("ORB " + printable(arguments.name) + " changed.", {{"changed", arguments.name}});
}

void remove(Context& context, const Arguments& arguments) {
  const auto orb = find_orb(context.connection(), arguments.name);
  context.confirm("Remove ORB " + printable(arguments.name) +
                  (arguments.destroy.deep ? " and all its POAs with everything below them" : ""));
  context.connection().expect_changes();
  destroy_entry(orb, "ORB \"" + printable(arguments.name) + "\"", arguments.destroy.type());
  context.output().outcome("ORB " + printable(arguments.name) + " removed.", {{"removed", arguments.name}});
}

}  // namespace

void add_orb_commands(CLI::App& app, Context& context) {
  auto* group = app.add_subcommand("orb", "The server ORBs: which process runs each");
  group->require_subcommand(1);
  const auto arguments = std::make_shared<Arguments>();
  const auto name_of = [arguments](CLI::App* verb) {
    verb->add_option("name", arguments->name, "Its name, which its server registers with")
        ->type_name("ORB")
        ->required();
  };
  const auto process_of = [arguments](CLI::App* verb, const char* description) {
    return verb->add_option("--process", arguments->process, description)->type_name("PROCESS");
  };

  auto* verb = group->add_subcommand("list", "List the ORBs, and what runs of them");
  process_of(verb, "Only those of this process");
  verb->callback([&context, arguments] { list(context, *arguments); });

  verb = group->add_subcommand("show", "Show all that is known of one ORB");
  name_of(verb);
  verb->callback([&context, arguments] { show(context, *arguments); });

  verb = group->add_subcommand("add", "Add an ORB");
  name_of(verb);
  process_of(verb, "The process that is started when it is needed");
  verb->callback([&context, arguments] { add(context, *arguments); });

  verb = group->add_subcommand("set", "Change an ORB");
  name_of(verb);
  auto* process = process_of(verb, "The process that is started when it is needed");
  verb->add_flag("--no-process", arguments->no_process, "Its server is started by other means")->excludes(process);
  verb->callback([&context, arguments] { set(context, *arguments); });

  verb = group->add_subcommand("remove", "Remove an ORB");
  name_of(verb);
  arguments->destroy.add_to(*verb, "Its POAs stay, and belong to no ORB", "Its POAs go too, with all below them");
  verb->callback([&context, arguments] { remove(context, *arguments); });
}

}  // namespace poaloc
