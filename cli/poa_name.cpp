#include "cli/poa_name.h"

#include <cstring>
#include <vector>

#include "cli/failure.h"
#include "cli/text.h"

namespace poaloc {

namespace {

[[noreturn]] void refuse(const std::string& text, const std::string& why) {
  throw Failure(USAGE, "\"" + printable(text) + "\" names no POA: " + why +
                           "; write names from the outermost down, as in Bank/Accounts, and / for the root.");
}

}  // namespace

CORBA::StringSeq parse_poa_name(const std::string& text) {
  CORBA::StringSeq result;
  if (text == "/") return result;
  std::vector<std::string> parts(1);
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '/') {
      parts.emplace_back();
    } else if (text[i] != '\\') {
      parts.back() += text[i];
    } else if (++i < text.size() && (text[i] == '/' || text[i] == '\\')) {
      parts.back() += text[i];
    } else {
      refuse(text, "a backslash stands before a slash or a backslash only");
    }
  }
  result.length(static_cast<CORBA::ULong>(parts.size()));
  for (CORBA::ULong i = 0; i < result.length(); ++i) {
    if (parts[i].empty()) refuse(text, text.empty() ? "it is empty" : "a part of it is empty");
    result[i] = parts[i].c_str();
  }
  return result;
}

std::string poa_name_text(const CORBA::StringSeq& name) {
  if (name.length() == 0) return "/";
  std::string result;
  for (CORBA::ULong i = 0; i < name.length(); ++i) {
    if (i != 0) result += '/';
    for (const char* c = name[i]; *c; ++c) {
      if (*c == '/' || *c == '\\') result += '\\';
      result += *c;
    }
  }
  return result;
}

CORBA::StringSeq parent_name(const CORBA::StringSeq& name) {
  CORBA::StringSeq result = name;
  result.length(name.length() - 1);
  return result;
}

bool starts_with(const CORBA::StringSeq& name, const CORBA::StringSeq& prefix) {
  if (name.length() < prefix.length()) return false;
  for (CORBA::ULong i = 0; i < prefix.length(); ++i)
    if (std::strcmp(name[i], prefix[i]) != 0) return false;
  return true;
}

}  // namespace poaloc
