// POAs as a tree on the terminal.
#pragma once

#include <qz_imr_admin.hh>

#include <string>
#include <unordered_map>
#include <vector>

#include "cli/output.h"

namespace poaloc {

class PoaTree {
 public:
  // Shows that POA and what is below it.
  explicit PoaTree(const CORBA::StringSeq& top) : m_top(top) {}

  // Those above before those below; what is not below the top is left out.
  void add(const QZ_IMRAdmin::POAEntry& entry);

  // depth: levels below the top; 0: all.
  void print(Output& output, unsigned depth) const;
  // Nested in "children".
  Json to_json(unsigned depth) const;

 private:
  struct Node {
    std::string label;
    Json json;
    std::vector<std::size_t> children;
  };

  void print_children(Output& output, std::size_t of, const std::string& indent, unsigned depth) const;
  Json node_json(std::size_t of, unsigned depth) const;

  const CORBA::StringSeq m_top;
  std::vector<Node> m_nodes;  // the top first
  std::unordered_map<std::string, std::size_t> m_by_name;
};

}  // namespace poaloc
