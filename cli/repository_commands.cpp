// poaloc export, import: the whole repository.
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "cli/commands.h"
#include "cli/export_file.h"
#include "cli/failure.h"
#include "cli/repository.h"
#include "cli/repository_document.h"
#include "cli/repository_import.h"
#include "cli/text.h"

namespace poaloc {

namespace {

struct Arguments {
  std::string file = "-";
  bool update = false;
  bool check = false;
};

// One list of the document; write is called with each piece of text.
template <class List, class Write>
std::size_t export_list(const char* name, List list, Write write) {
  std::size_t count = 0;
  write(std::string("\"") + name + "\": [");
  for_each_entry(list, [&](const auto& entry) {
    std::string line;
    try {
      line = to_json(entry).dump();
    } catch (const Json::type_error&) {
      throw Failure(FAILED, "JSON cannot hold what is not UTF-8, as in " + to_line(to_json(entry)) + " of the " + name +
                                ": change or remove that entry first.");
    }
    write(std::string(count++ ? ",\n" : "\n") + line);
  });
  write("\n]");
  return count;
}

template <class Write>
std::size_t export_all(Connection& connection, Write write) {
  const auto processes = connection.resolve<QZ_IMRAdmin::ProcessRegistry>(QZ_IMRAdmin::PROCESS_REGISTRY);
  const auto orbs = connection.resolve<QZ_IMRAdmin::ORBRegistry>(QZ_IMRAdmin::ORB_REGISTRY);
  const auto repository = connection.resolve<QZ_IMRAdmin::Repository>(QZ_IMRAdmin::REPOSITORY_ADMIN);
  std::size_t count = 0;
  write("{\"poalocator\": 1,\n");
  count += export_list("processes", [&](auto&&... a) { return processes->list(a...); }, write);
  write(",\n");
  count += export_list("orbs", [&](auto&&... a) { return orbs->list(a...); }, write);
  write(",\n");
  count += export_list("poas", [&](auto&&... a) { return repository->list_poas(a...); }, write);
  write("}\n");
  return count;
}

void run_export(Context& context, const Arguments& arguments) {
  if (arguments.file == "-") {
    export_all(context.connection(), [&](const std::string& text) { context.output().text(text); });
    return;
  }
  ExportFile file(arguments.file);
  const std::size_t count = export_all(context.connection(), [&](const std::string& text) { file.write(text); });
  file.finish();
  context.output().outcome(std::to_string(count) + " entries written to " + printable(arguments.file) + ".",
                           {{"entries", count}, {"file", arguments.file}});
}

std::string read_text(Context& context, const std::string& file) {
  std::ostringstream text;
  if (file == "-") {
    text << context.streams().in.rdbuf();
    return text.str();
  }
  if (std::filesystem::is_directory(file)) fail_file(file, "read", EISDIR);
  std::ifstream in(file);
  if (!in) fail_file(file, "read", errno);
  text << in.rdbuf();
  if (in.bad()) fail_file(file, "read", errno);
  return text.str();
}

RepositoryDocument read_document(Context& context, const std::string& file) {
  constexpr std::size_t SHOWN = 20;
  std::vector<std::string> mistakes;
  auto document = parse_document(read_text(context, file), mistakes);
  if (mistakes.empty()) return document;
  for (std::size_t i = 0; i < mistakes.size() && i < SHOWN; ++i) context.note(mistakes[i] + ".");
  throw Failure(USAGE, "Nothing was imported, because \"" + printable(file) + "\" has " +
                           std::to_string(mistakes.size()) + (mistakes.size() == 1 ? " mistake" : " mistakes") +
                           ": correct them, and import it again.");
}

void run_import(Context& context, const Arguments& arguments) {
  const auto document = read_document(context, arguments.file);
  RepositoryImport import(context);
  import.send(document);
  const auto progress =
      import.commit(arguments.update ? QZ_IMRAdmin::IMPORT_UPDATE : QZ_IMRAdmin::IMPORT_ADD, arguments.check);
  const std::string sentence = std::to_string(document.size()) + " entries " +
                               (arguments.check ? "can be imported: " : "imported: ") + std::to_string(progress.added) +
                               (arguments.check ? " to add, " : " added, ") + std::to_string(progress.changed) +
                               (arguments.check ? " to change." : " changed.");
  context.output().outcome(sentence, {{"entries", document.size()},
                                      {"added", progress.added},
                                      {"changed", progress.changed},
                                      {"written", !arguments.check}});
}

}  // namespace

void add_repository_commands(CLI::App& app, Context& context) {
  const auto arguments = std::make_shared<Arguments>();

  auto* verb = app.add_subcommand("export", "Write the whole repository as JSON: processes, ORBs and POAs");
  verb->add_option("file", arguments->file, "Where to; - is standard output")->type_name("FILE");
  verb->callback([&context, arguments] { run_export(context, *arguments); });

  verb = app.add_subcommand("import",
                            "Read entries of the repository from JSON: all of them are checked before any is written, "
                            "and either all are written or none");
  verb->add_option("file", arguments->file, "What export wrote; - is standard input")->type_name("FILE")->required();
  verb->add_flag("--update", arguments->update,
                 "Change entries that exist and are different, instead of refusing them");
  verb->add_flag("--check", arguments->check, "Only check whether they could be imported");
  verb->callback([&context, arguments] { run_import(context, *arguments); });
}

}  // namespace poaloc
