#include "platform/pss/statement.h"

#include <charconv>
#include <string_view>

#include "platform/pss/raise.h"
#include "platform/pss/session.h"

namespace QZ_PSS {

std::unique_ptr<ResultSet> Statement::execute(const std::string& text) {
  return execute(text, std::string());
}

std::unique_ptr<ResultSet> Statement::execute(const std::string& text, const std::string& after_pid) {
  constexpr std::string_view head = "select ref(h) from ";
  constexpr std::string_view tail = " h";
  if (text.size() <= head.size() + tail.size() || !text.starts_with(head) || !text.ends_with(tail))
    raise<CORBA::BAD_PARAM>(MINOR_BAD_QUERY, minor_text(MINOR_BAD_QUERY));
  const std::string home_type_id = text.substr(head.size(), text.size() - head.size() - tail.size());
  if (home_type_id.find(' ') != std::string::npos)
    raise<CORBA::BAD_PARAM>(MINOR_BAD_QUERY, minor_text(MINOR_BAD_QUERY));
  long long after = 0;
  const char* const end = after_pid.data() + after_pid.size();
  if (!after_pid.empty()) {
    const auto [rest, error] = std::from_chars(after_pid.data(), end, after);
    if (error != std::errc() || rest != end || after <= 0)
      raise<CORBA::BAD_PARAM>(MINOR_BAD_REFERENCE, minor_text(MINOR_BAD_REFERENCE));
  }
  return std::make_unique<ResultSet>(m_session.context(home_type_id), after);
}

}  // namespace QZ_PSS
