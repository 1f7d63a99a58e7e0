// poaloc process: the server processes, what is configured of them and what runs.
#include "cli/commands.h"
#include "cli/destroy_options.h"
#include "cli/failure.h"
#include "cli/log_reader.h"
#include "cli/process_info.h"
#include "cli/process_runs.h"
#include "cli/repository.h"
#include "cli/text.h"

namespace poaloc {

namespace {

using QZ_IMRAdmin::ProcessInfo;
using QZ_LocatorAdmin::ActiveProcessInfo;

struct ProcessRow {
  ProcessInfo info;
  const ActiveProcessInfo* active = nullptr;
};

const char* state_of(const ProcessRow& row) {
  return state_text(row.active ? row.active->state : QZ_LocatorAdmin::PROCESS_STOPPED);
}

const Columns<ProcessRow> LIST_COLUMNS{
    {"Process", "name", [](const ProcessRow& r) { return Json(r.info.name.in()); }},
    {"State", "state", [](const ProcessRow& r) { return Json(state_of(r)); }},
    {"PID", "pid", [](const ProcessRow& r) { return r.active && r.active->pid ? Json(r.active->pid) : Json(); }},
    {"Since", "since", [](const ProcessRow& r) { return r.active ? time_json(r.active->start_time) : Json(); }},
    {"Active ORBs", "active_orbs",
     [](const ProcessRow& r) { return r.active ? list_json(r.active->orbs) : Json::array(); }},
    {"Command", "command_line", [](const ProcessRow& r) { return Json(command_text(r.info.argv)); }},
};

Columns<ProcessRow> show_columns() {
  auto columns = LIST_COLUMNS;
  columns.push_back(
      {"Directory", "directory", [](const ProcessRow& r) { return text_or_null(r.info.working_directory); }});
  columns.push_back({"Environment", "environment", [](const ProcessRow& r) { return list_json(r.info.environment); }});
  columns.push_back({"User", "user", [](const ProcessRow& r) { return text_or_null(r.info.user); }});
  columns.push_back({"Start-up limit", "startup_limit", [](const ProcessRow& r) {
                       return r.info.startup_time_limit ? Json(duration_text(r.info.startup_time_limit)) : Json();
                     }});
  columns.push_back(
      {"Stop grace", "stop_grace", [](const ProcessRow& r) { return Json(duration_text(r.info.stop_grace)); }});
  columns.push_back({"Log", "log", [](const ProcessRow& r) { return text_or_null(r.info.log_file); }});
  return columns;
}

struct Arguments {
  std::string name;
  ProcessOptions added;
  ProcessOptions changed;
  DestroyOptions destroy;
  bool no_wait = false;
  bool follow = false;
  unsigned lines = 20;
};

using Active = std::map<std::string, ActiveProcessInfo>;

ProcessRow row_of(const ProcessInfo& info, const Active& active) {
  const auto found = active.find(info.name.in());
  return {info, found == active.end() ? nullptr : &found->second};
}

std::string shown(const Arguments& arguments) {
  return printable(arguments.name);
}

void list(Context& context) {
  Connection& connection = context.connection();
  const auto active = active_processes(connection);
  const auto registry = connection.resolve<QZ_IMRAdmin::ProcessRegistry>(QZ_IMRAdmin::PROCESS_REGISTRY);
  Output::Listing<ProcessRow> listing(context.output(), LIST_COLUMNS, "There is no process.");
  for_each_entry([&](auto&&... a) { return registry->list(a...); },
                 [&](const ProcessInfo& info) { listing.add(row_of(info, active)); });
  listing.end();
}

void show(Context& context, const Arguments& arguments) {
  const auto process = find_process(context.connection(), arguments.name);
  const auto active = active_processes(context.connection());
  context.output().record(show_columns(), row_of(QZ_IMRAdmin::ProcessInfo_var(process->info()), active));
}

void add(Context& context, const Arguments& arguments) {
  ProcessInfo info;
  info.name = arguments.name.c_str();
  info.startup_time_limit = 0;
  info.stop_grace = DEFAULT_STOP_GRACE;
  arguments.added.apply_to(info);
  const auto registry = context.connection().resolve<QZ_IMRAdmin::ProcessRegistry>(QZ_IMRAdmin::PROCESS_REGISTRY);
  context.connection().expect_changes();
  try {
    const QZ_IMRAdmin::Process_var added = registry->add(info);
  } catch (const QZ_IMRAdmin::AlreadyExists&) {
    throw Failure(REFUSED,
                  "Process \"" + shown(arguments) + "\" exists already: change it with \"poaloc process set\".");
  } catch (const QZ_IMRAdmin::InvalidValue& e) {
    fail_invalid("process", e);
  }
  context.output().outcome("Process " + shown(arguments) + " added.", {{"added", arguments.name}});
}

void set(Context& context, const Arguments& arguments) {
  if (arguments.changed.empty())
    throw Failure(USAGE, "Nothing is to be changed: \"poaloc process set --help\" shows what can be.");
  const auto process = find_process(context.connection(), arguments.name);
  context.connection().expect_changes();
  try {
    // Once more when somebody else has changed it meanwhile.
    for (bool changed = false; !changed;) {
      const QZ_IMRAdmin::ProcessInfo_var before = process->info();
      ProcessInfo info = before.in();
      arguments.changed.apply_to(info);
      changed = process->change_from(before, info);
    }
  } catch (const QZ_IMRAdmin::InvalidValue& e) {
    fail_invalid("process", e);
  }
  context.output().outcome("Process " + shown(arguments) + " changed.", {{"changed", arguments.name}});
}

void remove(Context& context, const Arguments& arguments) {
  const auto process = find_process(context.connection(), arguments.name);
  context.confirm("Remove process " + shown(arguments) +
                  (arguments.destroy.deep ? " with its ORBs and all their POAs" : ""));
  context.connection().expect_changes();
  destroy_entry(process, "Process \"" + shown(arguments) + "\"", arguments.destroy.type());
  context.output().outcome("Process " + shown(arguments) + " removed.", {{"removed", arguments.name}});
}

void start(Context& context, const Arguments& arguments) {
  ProcessRun run(context.connection(), arguments.name);
  run.start();
  run.report(context.output(), "started");
}

void stop(Context& context, const Arguments& arguments) {
  ProcessRun run(context.connection(), arguments.name);
  run.stop();
  if (arguments.no_wait)
    return context.output().outcome("Process " + shown(arguments) + " was told to end.",
                                    {{"stopping", arguments.name}});
  run.wait_for_end();
  context.output().outcome("Process " + shown(arguments) + " stopped.", {{"stopped", arguments.name}});
}

void restart(Context& context, const Arguments& arguments) {
  ProcessRun run(context.connection(), arguments.name);
  run.restart();
  if (arguments.no_wait)
    return context.output().outcome("Process " + shown(arguments) + " was told to end and will be started again.",
                                    {{"restarting", arguments.name}});
  run.wait_for_successor();
  run.report(context.output(), "restarted");
}

void logs(Context& context, const Arguments& arguments) {
  LogReader reader(context, arguments.name);
  reader.print_last(arguments.lines);
  if (arguments.follow) reader.follow();
}

}  // namespace

void add_process_commands(CLI::App& app, Context& context) {
  auto* group = app.add_subcommand("process", "The server processes: how each is started, and what runs");
  group->require_subcommand(1);
  const auto arguments = std::make_shared<Arguments>();
  const auto add_verb = [&](const char* verb_name, const char* description, void (*run)(Context&, const Arguments&)) {
    auto* verb = group->add_subcommand(verb_name, description);
    verb->add_option("name", arguments->name, "Its name")->type_name("PROCESS")->required();
    verb->callback([&context, arguments, run] { run(context, *arguments); });
    return verb;
  };
  const auto add_no_wait = [arguments](CLI::App* verb) {
    verb->add_flag("--no-wait", arguments->no_wait, "Do not wait for its end");
  };

  group->add_subcommand("list", "List the processes, and what runs of them")->callback([&context] { list(context); });
  add_verb("show", "Show all that is known of one process", show);
  arguments->added.add_to(*add_verb("add", "Add a process", add), false);
  arguments->changed.add_to(*add_verb("set", "Change a process, from its next start on", set), true);
  arguments->destroy.add_to(*add_verb("remove", "Remove a process; one that runs goes on running", remove),
                            "Its ORBs stay, and have no process", "Its ORBs go too, with their POAs");
  add_verb("start", "Start a process, unless it runs", start);
  add_no_wait(add_verb("stop", "End a process: SIGTERM, and SIGKILL after its grace period", stop));
  add_no_wait(add_verb("restart", "End a process and start it again", restart));
  auto* verb = add_verb("logs", "Show the end of a process's log file", logs);
  verb->add_option("-n,--lines", arguments->lines, "How many lines")->type_name("NUMBER")->capture_default_str();
  verb->add_flag("-f,--follow", arguments->follow, "Go on with what is added to it");
}

}  // namespace poaloc
