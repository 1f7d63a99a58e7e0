#include "daemon/process_info.h"

#include <string>
#include <vector>

namespace poalocd {

namespace {

using QZ_IMRAdmin::InvalidValue;
using QZ_IMRAdmin::ProcessInfo;

constexpr CORBA::ULongLong A_DAY = 24ULL * 3600 * 1000;

[[noreturn]] void refuse(const char* member, const std::string& reason) {
  throw InvalidValue(member, reason.c_str());
}

std::vector<std::string> texts(const CORBA::StringSeq& list) {
  std::vector<std::string> result;
  for (CORBA::ULong i = 0; i < list.length(); ++i) result.emplace_back(list[i]);
  return result;
}

template <class Texts, class ToText>
CORBA::StringSeq string_seq(const Texts& texts, ToText to_text) {
  CORBA::StringSeq result;
  result.length(static_cast<CORBA::ULong>(texts.size()));
  CORBA::ULong i = 0;
  for (const auto& text : texts) result[i++] = to_text(text).c_str();
  return result;
}

std::map<std::string, std::string> environment_of(const CORBA::StringSeq& lines) {
  std::map<std::string, std::string> result;
  for (const auto& line : texts(lines)) {
    const auto equals = line.find('=');
    if (equals == std::string::npos || equals == 0)
      refuse("environment", "has \"" + line + "\", which is no NAME=value");
    if (!result.emplace(line.substr(0, equals), line.substr(equals + 1)).second)
      refuse("environment", "has \"" + line.substr(0, equals) + "\" twice");
  }
  return result;
}

Milliseconds time_of(const char* member, CORBA::ULongLong value, CORBA::ULongLong least) {
  if (value < least || value > A_DAY)
    refuse(member, "must be from " + std::to_string(least) + " to " + std::to_string(A_DAY) + " milliseconds");
  return Milliseconds(value);
}

}  // namespace

ProcessSettings to_settings(const ProcessInfo& info) {
  ProcessSettings result;
  result.name = info.name.in();
  if (result.name.empty()) refuse("name", "is empty");
  result.argv = texts(info.argv);
  if (result.argv.empty() || result.argv.front().empty()) refuse("argv", "needs at least the program to run");
  result.working_directory = info.working_directory.in();
  result.environment = environment_of(info.environment);
  result.user = info.user.in();
  result.startup_time_limit = time_of("startup_time_limit", info.startup_time_limit, 0);
  result.stop_grace = time_of("stop_grace", info.stop_grace, 1);
  result.log_file = info.log_file.in();
  return result;
}

ProcessInfo to_info(const ProcessSettings& settings) {
  ProcessInfo result;
  result.name = settings.name.c_str();
  result.argv = string_seq(settings.argv, [](const std::string& text) { return text; });
  result.working_directory = settings.working_directory.c_str();
  result.environment =
      string_seq(settings.environment, [](const auto& variable) { return variable.first + "=" + variable.second; });
  result.user = settings.user.c_str();
  result.startup_time_limit = static_cast<CORBA::ULongLong>(settings.startup_time_limit.count());
  result.stop_grace = static_cast<CORBA::ULongLong>(settings.stop_grace.count());
  result.log_file = settings.log_file.c_str();
  return result;
}

}  // namespace poalocd
