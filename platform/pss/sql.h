// SQL texts with the types of what goes in and comes out.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "platform/pss/field.h"

namespace QZ_PSS {

// params, results: one letter a value, 't' for text, 'n' for number. Statements are cached by the address of their Sql,
// so one that is run more than once must outlive its connections.
struct Sql {
  std::string text;
  std::string params = {};
  std::string results = {};
};

using Fields = std::vector<Field>;
// Texts may be moved out of the row.
using RowHandler = std::function<void(Fields& row)>;

inline Field text_field(std::string value) {
  return {std::move(value), 0};
}
inline Field number_field(long long value) {
  return {{}, value};
}

}  // namespace QZ_PSS
