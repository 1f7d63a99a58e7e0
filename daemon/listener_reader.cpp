#include "daemon/listener_reader.h"

#include <algorithm>
#include <qz_locator_internal.hh>

#include "daemon/loopback.h"

namespace poalocd {

namespace {

using Problems = std::vector<std::string>;

struct Role {
  const char* name;
  int value;
};
using Roles = std::vector<Role>;

const Roles ORB_ROLES{{"server", QZ_LocatorInternal::ROLE_SERVER},
                      {"administrator", QZ_LocatorInternal::ROLE_ADMINISTRATOR}};
const Roles FRONT_DOOR_ROLES{{"client", QZ_LocatorInternal::ROLE_CLIENT},
                             {"server", QZ_LocatorInternal::ROLE_SERVER},
                             {"administrator", QZ_LocatorInternal::ROLE_ADMINISTRATOR}};

std::string joined(const Roles& roles) {
  std::string result;
  for (const auto& role : roles) result += (result.empty() ? "" : ", ") + std::string(role.name);
  return result;
}

std::string read_published(TableReader& table) {
  auto result = table.text("published", "");
  const auto wrong = result.empty() ? std::string() : address_problem(result);
  if (!wrong.empty()) table.problem(nullptr, "published", wrong);
  return result;
}

class ListenerReader {
 public:
  ListenerReader(TableReader& table, std::string scope, const Roles& roles, bool publishes, Problems& problems)
      : m_table(table), m_scope(std::move(scope)), m_roles(roles), m_publishes(publishes), m_problems(problems) {}

  // Empty when the key is not there, or holds nothing that could be used.
  std::vector<OrbListenerSettings> read() {
    const auto* found = m_table.node("listen");
    if (!found) return {};
    if (const auto* text = found->as_string()) {
      m_table.set_flat("listen", text->get());
      take(*found, text->get(), nullptr, "");
      return std::move(m_result);
    }
    const auto* list = found->as_array();
    if (!list || list->empty())
      m_table.problem(found, "listen",
                      "must be one or more addresses HOST:PORT, or a list of tables with address and roles");
    else
      for (const auto& element : *list) read_element(element);
    return std::move(m_result);
  }

 private:
  void read_element(const toml::node& element) {
    if (const auto* text = element.as_string()) return take(element, text->get(), nullptr, "");
    const auto* as_table = element.as_table();
    if (!as_table)
      return m_table.problem(&element, "listen", "must hold addresses HOST:PORT, or tables with address and roles");
    TableReader table(as_table, m_scope + ":listen", m_problems, nullptr);
    const auto address = table.required_text("address");
    const auto published = m_publishes ? read_published(table) : std::string();
    take(element, address, &table, published);
    table.finish();
  }

  // table: where its roles stand; null where they cannot.
  void take(const toml::node& where, const std::string& text, TableReader* table, const std::string& published) {
    const bool has_roles = table && table->node("roles");
    OrbListenerSettings listener;
    if (has_roles) listener.roles = read_roles(*table);
    if (const auto wrong = address_problem(text); !wrong.empty())
      return m_table.problem(&where, "listen", wrong + ", is \"" + text + "\"");
    listener.address = split_address(text);
    listener.published = published;
    if (!has_roles) {
      if (!is_loopback(listener.address.host))
        m_table.problem(&where, "listen",
                        "\"" + text + "\" is reached from other machines, so say whom it admits: { address = \"" +
                            text + "\", roles = [...] } with one or more of: " + joined(m_roles));
      for (const auto& role : m_roles) listener.roles.push_back(role.value);
    }
    m_result.push_back(std::move(listener));
  }

  std::vector<int> read_roles(TableReader& table) const {
    std::vector<int> result;
    const auto names = table.text_list("roles", {});
    if (names.empty()) table.problem(nullptr, "roles", "must be a list of one or more of: " + joined(m_roles));
    for (const auto& name : names) {
      const auto known = std::find_if(m_roles.begin(), m_roles.end(), [&](const Role& r) { return name == r.name; });
      if (known == m_roles.end())
        table.problem(nullptr, "roles", "\"" + name + "\" is none of: " + joined(m_roles));
      else
        result.push_back(known->value);
    }
    return result;
  }

  TableReader& m_table;
  const std::string m_scope;
  const Roles& m_roles;
  const bool m_publishes;
  Problems& m_problems;
  std::vector<OrbListenerSettings> m_result;
};

}  // namespace

std::vector<QZ_Binding::ListenerConfig> read_front_door_listeners(TableReader& table, Problems& problems) {
  std::vector<QZ_Binding::ListenerConfig> result;
  for (auto& listener : ListenerReader(table, "front_door", FRONT_DOOR_ROLES, false, problems).read())
    result.push_back({std::move(listener.address.host), listener.address.port, std::move(listener.roles)});
  if (result.empty()) result.emplace_back();
  // Persistent references are for clients, and no ORB tries another address after an answer.
  const auto admits_clients = [](const QZ_Binding::ListenerConfig& listener) {
    return std::ranges::count(listener.roles, QZ_LocatorInternal::ROLE_CLIENT) != 0;
  };
  if (std::ranges::any_of(result, admits_clients))
    for (auto& listener : result) listener.published = admits_clients(listener);
  return result;
}

std::vector<OrbListenerSettings> read_orb_listeners(TableReader& table, Problems& problems) {
  auto result = ListenerReader(table, "orb_endpoint", ORB_ROLES, true, problems).read();
  if (result.empty())
    result.push_back(
        {{"127.0.0.1", 2810}, {QZ_LocatorInternal::ROLE_SERVER, QZ_LocatorInternal::ROLE_ADMINISTRATOR}, ""});
  const auto published = read_published(table);
  if (result.size() == 1) {
    if (!published.empty()) result.front().published = published;
    return result;
  }
  if (!published.empty())
    table.problem(nullptr, "published", "cannot be one for several addresses: give each address its own");
  for (const auto& listener : result)
    if (listener.address.port == 0)
      table.problem(nullptr, "listen", "must have a port other than 0 where there are several addresses");
  return result;
}

}  // namespace poalocd
