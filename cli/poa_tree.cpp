#include "cli/poa_tree.h"

#include <limits>

#include "cli/poa_name.h"
#include "cli/text.h"

namespace poaloc {

namespace {

unsigned levels(unsigned depth) {
  return depth == 0 ? std::numeric_limits<unsigned>::max() : depth;
}

// The last part of the name, and what sets the POA apart.
std::string label_of(const QZ_IMRAdmin::POAEntry& entry, const std::string& shown_name) {
  std::string label = printable(shown_name);
  std::string details;
  if (*entry.orb_name) details = "ORB " + printable(entry.orb_name.in());
  if (!*entry.orb_name && entry.persistent) details = "no ORB";
  if (entry.allow_dynamic_registration) details += details.empty() ? "dynamic" : ", dynamic";
  return details.empty() ? label : label + "  (" + details + ")";
}

}  // namespace

void PoaTree::add(const QZ_IMRAdmin::POAEntry& entry) {
  if (!starts_with(entry.name, m_top)) return;
  const bool is_top = entry.name.length() == m_top.length();
  const std::string name = poa_name_text(entry.name);
  std::size_t parent = 0;
  if (is_top == !m_nodes.empty()) return;
  if (!is_top) {
    const auto found = m_by_name.find(poa_name_text(parent_name(entry.name)));
    // Moved while it was listed: its parent has gone.
    if (found == m_by_name.end()) return;
    parent = found->second;
  }
  const std::size_t index = m_nodes.size();
  m_by_name.emplace(name, index);
  m_nodes.push_back({label_of(entry, is_top ? name : entry.name[entry.name.length() - 1].in()),
                     {{"name", name},
                      {"persistent", bool{entry.persistent}},
                      {"dynamic", bool{entry.allow_dynamic_registration}},
                      {"orb", text_or_null(entry.orb_name)}},
                     {}});
  if (!is_top) m_nodes[parent].children.push_back(index);
}

void PoaTree::print(Output& output, unsigned depth) const {
  if (m_nodes.empty()) return;
  output.line(m_nodes.front().label);
  print_children(output, 0, "", levels(depth));
}

void PoaTree::print_children(Output& output, std::size_t of, const std::string& indent, unsigned depth) const {
  if (depth == 0) return;
  const auto& children = m_nodes[of].children;
  for (std::size_t i = 0; i < children.size(); ++i) {
    const bool last = i + 1 == children.size();
    output.line(indent + (last ? "└── " : "├── ") + m_nodes[children[i]].label);
    print_children(output, children[i], indent + (last ? "    " : "│   "), depth - 1);
  }
}

Json PoaTree::to_json(unsigned depth) const {
  return m_nodes.empty() ? Json() : node_json(0, levels(depth));
}

Json PoaTree::node_json(std::size_t of, unsigned depth) const {
  Json result = m_nodes[of].json;
  Json children = Json::array();
  if (depth != 0)
    for (const std::size_t child : m_nodes[of].children) children.push_back(node_json(child, depth - 1));
  result["children"] = std::move(children);
  return result;
}

}  // namespace poaloc
