#include "platform/pss/statement.h"

#include <string_view>

#include "platform/pss/raise.h"
#include "platform/pss/session.h"

namespace QZ_PSS {

std::unique_ptr<ResultSet> Statement::execute(const std::string& text) {
  constexpr std::string_view head = "select ref(h) from ";
  constexpr std::string_view tail = " h";
  if (text.size() <= head.size() + tail.size() || !text.starts_with(head) || !text.ends_with(tail))
    raise<CORBA::BAD_PARAM>(MINOR_BAD_QUERY, minor_text(MINOR_BAD_QUERY));
  const std::string home_type_id = text.substr(head.size(), text.size() - head.size() - tail.size());
  if (home_type_id.find(' ') != std::string::npos)
    raise<CORBA::BAD_PARAM>(MINOR_BAD_QUERY, minor_text(MINOR_BAD_QUERY));
  return std::make_unique<ResultSet>(m_session.context(home_type_id));
}

}  // namespace QZ_PSS
