// poaloc ref: references made and taken apart.
#include <algorithm>

#include "cli/commands.h"
#include "cli/failure.h"
#include "cli/locate.h"
#include "cli/poa_name.h"
#include "cli/reference.h"
#include "cli/repository.h"
#include "cli/text.h"

namespace poaloc {

namespace {

struct Arguments {
  std::string name;
  std::string id;
  std::string id_hex;
  std::string type_id;
  std::string from;
  std::string reference;
};

// An IOR, or whatever the ORB makes an IOR of.
Reference parse_reference(Context& context, const std::string& text) {
  if (text.starts_with("IOR:") || text.starts_with("ior:")) return parse_ior(text);
  Connection& connection = context.connection();
  const auto object = connection.to_object(text);
  if (CORBA::is_nil(object))
    throw Failure(USAGE, "\"" + printable(text) + "\" is the nil reference: give one that names an object.");
  return parse_ior(CORBA::String_var(connection.orb()->object_to_string(object)).in());
}

const ReferenceProfile& keyed_profile(const Reference& reference) {
  const auto* profile = reference.keyed();
  if (!profile) throw Failure(USAGE, "That reference has no IIOP address: give one of a server's own.");
  return *profile;
}

// What a server's own key has behind the key of its POA, which the locator tells by forwarding there.
Octets tail_of(Context& context, const Arguments& arguments, const Octets& endpoint_id, const Octets& key) {
  const auto locator = parse_reference(context, context.connection().locator() + "/name");
  const auto& address = keyed_profile(locator);
  const auto limit = std::chrono::milliseconds(static_cast<long>(context.options().timeout * 1000));
  // The locator forwards keys of objects only: those with something behind the id.
  Octets any_object = endpoint_id;
  any_object.push_back(0);
  const auto live = locate(address.host, address.port, any_object, limit);
  if (!live)
    throw Failure(FAILED, "POA \"" + printable(arguments.name) +
                              "\" is not active and cannot be activated: start its server first.");
  Octets prefix = keyed_profile(*live).object_key;
  if (!prefix.empty()) prefix.pop_back();
  if (key.size() < prefix.size() || !std::equal(prefix.begin(), prefix.end(), key.begin()))
    throw Failure(USAGE, "That reference is not one of POA \"" + printable(arguments.name) +
                             "\": name the POA that its server made it in.");
  return {key.begin() + static_cast<std::ptrdiff_t>(prefix.size()), key.end()};
}

CORBA::OctetSeq to_seq(const Octets& octets) {
  CORBA::OctetSeq result;
  result.length(static_cast<CORBA::ULong>(octets.size()));
  std::copy(octets.begin(), octets.end(), result.get_buffer());
  return result;
}

void make(Context& context, const Arguments& arguments) {
  Connection& connection = context.connection();
  std::string type_id = arguments.type_id;
  std::optional<Reference> from;
  if (!arguments.from.empty()) {
    from = parse_reference(context, arguments.from);
    if (type_id.empty()) type_id = from->type_id;
  }
  const auto poa = find_poa(connection, parse_poa_name(arguments.name));
  if (!poa->persistent())
    throw Failure(REFUSED,
                  "\"" + printable(arguments.name) + "\" is a namespace, which has no objects: name a POA below it.");
  const QZ_POAIMRAdmin::POAId_var id = poa->id();
  Octets key(id->get_buffer(), id->get_buffer() + id->length());
  const Octets tail = from                       ? tail_of(context, arguments, key, keyed_profile(*from).object_key)
                      : arguments.id_hex.empty() ? Octets(arguments.id.begin(), arguments.id.end())
                                                 : from_hex(arguments.id_hex);
  key.insert(key.end(), tail.begin(), tail.end());
  const auto locator = connection.resolve<QZ_LocatorAdmin::Locator>(QZ_LocatorAdmin::LOCATOR_ADMIN);
  const CORBA::Object_var made = locator->make_reference(to_seq(key), type_id.c_str());
  const CORBA::String_var text = connection.orb()->object_to_string(made);
  context.output().outcome(text.in(), {{"reference", text.in()}});
}

void print(Output& output, const Json& reference) {
  std::vector<std::pair<std::string, std::string>> lines{{"Type id", cell_text(reference["type_id"])}};
  for (const Json& profile : reference["profiles"]) {
    for (const auto& [key, value] : profile.items()) {
      if (key == "components") {
        for (const Json& component : value)
          lines.emplace_back("  Component", cell_text(component["component"]) + "  " + cell_text(component["data"]));
        continue;
      }
      std::string title = key == "iiop" ? "IIOP" : key == "poa" ? "POA" : key;
      std::replace(title.begin(), title.end(), '_', ' ');
      title[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(title[0])));
      lines.emplace_back((key == "profile" ? "" : "  ") + title, cell_text(value));
    }
  }
  output.fields(lines);
}

void decode(Context& context, const Arguments& arguments) {
  const Json json = to_json(parse_reference(context, arguments.reference));
  if (context.output().json()) {
    context.output().object(json);
  } else {
    print(context.output(), json);
  }
}

}  // namespace

void add_ref_commands(CLI::App& app, Context& context) {
  auto* group = app.add_subcommand("ref", "Object references: make persistent ones, take any apart");
  group->require_subcommand(1);
  const auto arguments = std::make_shared<Arguments>();

  auto* verb = group->add_subcommand("make", "Make a persistent reference through the locator");
  verb->add_option("name", arguments->name, "The POA of the object, as in Bank/Accounts")->type_name("POA")->required();
  auto* ways = verb->add_option_group("object", "The object, in one of these ways");
  ways->add_option("--id", arguments->id, "Its object id as text")->type_name("TEXT");
  ways->add_option("--id-hex", arguments->id_hex, "Its object id in hexadecimal")->type_name("HEX");
  ways->add_option("--from", arguments->from, "The server's own reference of it; activates the POA")
      ->type_name("REFERENCE");
  ways->require_option(1);
  verb->add_option("--type", arguments->type_id, "Its repository id, as in IDL:Bank/Account:1.0; that of --from")
      ->type_name("ID");
  verb->callback([&context, arguments] { make(context, *arguments); });

  verb = group->add_subcommand("decode", "Take a reference apart");
  verb->add_option("reference", arguments->reference, "An IOR or a corbaloc URL")->type_name("REFERENCE")->required();
  verb->callback([&context, arguments] { decode(context, *arguments); });
}

}  // namespace poaloc
