// poaloc ping, status, events: the locator itself.
#include <qz_locator_admin.hh>

#include <algorithm>
#include <chrono>
#include <deque>
#include <limits>
#include <thread>

#include "cli/commands.h"
#include "cli/failure.h"
#include "cli/follow.h"
#include "cli/text.h"

namespace poaloc {

namespace {

using Clock = std::chrono::steady_clock;
using QZ_LocatorAdmin::Event;

struct Arguments {
  std::string reference;
  bool is_object = false;
  unsigned count = 1;
  bool follow = false;
  unsigned lines = 20;
  std::string priority = "information";
};

// Whether somebody answers, and for an object whether it exists.
void ping_once(Context& context, CORBA::Object_ptr target, const std::string& name, bool must_exist) {
  const auto begin = Clock::now();
  const bool gone = target->_non_existent();
  const double milliseconds = std::chrono::duration<double, std::milli>(Clock::now() - begin).count();
  if (gone && must_exist)
    throw Failure(NOT_FOUND, printable(name) + " does not exist: its server answers, but has no such object.");
  char text[32];
  std::snprintf(text, sizeof text, "%.3f ms", milliseconds);
  context.output().outcome(printable(name) + " answers after " + text + ".",
                           {{"target", name}, {"milliseconds", milliseconds}});
  context.output().flush();
}

void ping(Context& context, const Arguments& arguments) {
  Connection& connection = context.connection();
  const bool is_object = arguments.is_object;
  // The front door answers for any key, with whatever roles it admits here.
  const auto target = connection.to_object(is_object ? arguments.reference : connection.locator() + "/ping");
  if (CORBA::is_nil(target)) throw Failure(USAGE, "That is the nil reference: give one that names an object.");
  const std::string name = is_object ? "The object" : "The locator at " + connection.locator();
  for (unsigned i = 0; i < arguments.count; ++i) {
    if (i) std::this_thread::sleep_for(std::chrono::seconds(1));
    try {
      ping_once(context, target, name, is_object);
    } catch (const CORBA::SystemException& e) {
      if (!is_object) throw;
      throw Failure(UNREACHABLE, std::string("The object does not answer, ") + e._name() +
                                     ": see that its server runs, or \"poaloc events\" for why it was not started.");
    }
  }
}

QZ_LocatorAdmin::Locator_var locator_of(Context& context) {
  return context.connection().resolve<QZ_LocatorAdmin::Locator>(QZ_LocatorAdmin::LOCATOR_ADMIN);
}

const Columns<QZ_LocatorAdmin::Status> STATUS_COLUMNS{
    {"Version", "version", [](const QZ_LocatorAdmin::Status& s) { return Json(s.version.in()); }},
    {"Domain", "domain", [](const QZ_LocatorAdmin::Status& s) { return Json(s.domain.in()); }},
    {"PID", "pid", [](const QZ_LocatorAdmin::Status& s) { return Json(s.pid); }},
    {"Since", "since", [](const QZ_LocatorAdmin::Status& s) { return time_json(s.start_time); }},
    {"Addresses", "addresses", [](const QZ_LocatorAdmin::Status& s) { return list_json(s.addresses); }},
};

Json counters_json(const QZ_LocatorAdmin::CounterList& counters) {
  Json result = Json::object();
  for (CORBA::ULong i = 0; i < counters.length(); ++i) result[counters[i].name.in()] = counters[i].value;
  return result;
}

void print_counters(Output& output, const std::string& heading, const QZ_LocatorAdmin::CounterList& counters) {
  std::vector<std::pair<std::string, std::string>> lines;
  for (CORBA::ULong i = 0; i < counters.length(); ++i) {
    std::string name = std::string("  ") + counters[i].name.in();
    std::replace(name.begin(), name.end(), '_', ' ');
    lines.emplace_back(name, std::to_string(counters[i].value));
  }
  output.line("");
  output.heading(heading);
  output.fields(lines);
}

void status(Context& context) {
  const QZ_LocatorAdmin::Status_var status = locator_of(context)->info();
  Output& output = context.output();
  if (output.json()) {
    Json json;
    for (const auto& column : STATUS_COLUMNS) json[column.key] = column.value(status);
    json["entries"] = counters_json(status->entries);
    json["front_door"] = counters_json(status->front_door);
    return output.object(json);
  }
  output.record(STATUS_COLUMNS, status.in());
  print_counters(output, "Entries", status->entries);
  print_counters(output, "Front door", status->front_door);
}

struct Priority {
  CORBA::ULong value;
  const char* name;
};
constexpr Priority PRIORITIES[] = {{1, "information"}, {16, "warning"}, {32, "error"}};

Json priority_json(CORBA::ULong value) {
  for (const Priority& priority : PRIORITIES)
    if (priority.value == value) return priority.name;
  return value;
}

Json time_of(const Event& event) {
  return time_json(event.at);
}

// Events come one by one, so that their columns have fixed widths.
void print(Output& output, const Event& event) {
  if (output.json())
    return output.object({{"number", event.number},
                          {"time", time_of(event)},
                          {"priority", priority_json(event.priority)},
                          {"subsystem", event.subsystem.in()},
                          {"id", event.id},
                          {"message", event.message.in()}});
  std::string priority = cell_text(priority_json(event.priority));
  priority.resize(std::max<std::size_t>(priority.size(), 11), ' ');
  std::string source = printable(event.subsystem.in()) + " " + std::to_string(event.id);
  source.resize(std::max<std::size_t>(source.size(), 20), ' ');
  output.line(cell_text(time_of(event)) + "  " + priority + "  " + source + "  " + printable(event.message.in()));
}

class EventReader {
 public:
  EventReader(Context& context, CORBA::ULong least)
      : m_context(context), m_locator(locator_of(context)), m_least(least) {}

  // Those that are kept by now, the last ones.
  void print_last(unsigned lines) {
    std::deque<Event> last;
    for (;;) {
      QZ_LocatorAdmin::EventList_var events = next(0);
      if (events->length() == 0) break;
      for (CORBA::ULong i = 0; i < events->length(); ++i) {
        if (events[i].priority < m_least) continue;
        last.push_back(events[i]);
        if (last.size() > lines) last.pop_front();
      }
    }
    for (const Event& event : last) print(m_context.output(), event);
  }

  // For ever; a locator that is restarted meanwhile is taken up again.
  void follow() {
    // Well below the time limit of a call.
    auto wait = static_cast<CORBA::ULong>(m_context.options().timeout * 1000 / 2);
    poaloc::follow(
        m_context, [&] { m_locator = locator_of(m_context); },
        [&] {
          try {
            QZ_LocatorAdmin::EventList_var events = next(wait);
            for (CORBA::ULong i = 0; i < events->length(); ++i)
              if (events[i].priority >= m_least) print(m_context.output(), events[i]);
            if (wait == 0) std::this_thread::sleep_for(POLL_INTERVAL);
          } catch (const CORBA::NO_RESOURCES&) {
            // Too many wait there already.
            wait = 0;
          }
        });
  }

 private:
  QZ_LocatorAdmin::EventList* next(CORBA::ULong wait) {
    QZ_LocatorAdmin::EventList_var events = m_locator->next_events(m_after, PAGE, wait);
    if (events->length() != 0) m_after = events[events->length() - 1].number;
    return events._retn();
  }

  static constexpr CORBA::ULong PAGE = 200;
  static constexpr std::chrono::milliseconds POLL_INTERVAL{500};

  Context& m_context;
  QZ_LocatorAdmin::Locator_var m_locator;
  const CORBA::ULong m_least;
  CORBA::ULongLong m_after = 0;
};

void events(Context& context, const Arguments& arguments) {
  CORBA::ULong least = 0;
  for (const Priority& priority : PRIORITIES)
    if (arguments.priority == priority.name) least = priority.value;
  EventReader reader(context, least);
  reader.print_last(arguments.lines);
  if (arguments.follow) reader.follow();
}

}  // namespace

void add_locator_commands(CLI::App& app, Context& context) {
  const auto arguments = std::make_shared<Arguments>();

  auto* verb = app.add_subcommand("ping", "See whether the locator, or an object, answers");
  verb->add_option("reference", arguments->reference, "An IOR or a corbaloc URL, instead of the locator")
      ->type_name("REFERENCE")
      ->each([arguments](const std::string&) { arguments->is_object = true; });
  verb->add_option("-c,--count", arguments->count, "How often, once a second")
      ->type_name("NUMBER")
      ->check(CLI::Range(1U, std::numeric_limits<unsigned>::max()))
      ->capture_default_str();
  verb->callback([&context, arguments] { ping(context, *arguments); });

  verb = app.add_subcommand("status", "Show what the locator is, what it knows and what it has done");
  verb->callback([&context] { status(context); });

  verb = app.add_subcommand("events", "Show the latest events of the locator");
  verb->add_option("-n,--lines", arguments->lines, "How many")->type_name("NUMBER")->capture_default_str();
  verb->add_flag("-f,--follow", arguments->follow, "Go on with those that happen from now on");
  verb->add_option("--priority", arguments->priority, "Only those that are at least this")
      ->type_name("CHOICE")
      ->check(CLI::IsMember({"information", "warning", "error"}))
      ->capture_default_str();
  verb->callback([&context, arguments] { events(context, *arguments); });
}

}  // namespace poaloc
