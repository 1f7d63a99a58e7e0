#include "cli/repository_document.h"

#include <algorithm>
#include <functional>
#include <map>
#include <set>

#include "cli/failure.h"
#include "cli/poa_name.h"
#include "cli/process_info.h"
#include "cli/text.h"

namespace poaloc {

namespace {

constexpr int FORMAT = 1;

// Reads the members of one object; what it finds wrong it says to whoever made it.
class Members {
 public:
  using Complain = std::function<void(const std::string&)>;

  Members(const Json& object, Complain complain) : m_object(object), m_complain(std::move(complain)) {
    if (!object.is_object()) m_complain("is no object");
  }
  // What nobody asked for is a mistake.
  ~Members() {
    if (!m_object.is_object()) return;
    for (const auto& [key, value] : m_object.items())
      if (m_known.count(key) == 0) m_complain("has a member \"" + printable(key) + "\", which is not known");
  }
  Members(const Members&) = delete;
  Members& operator=(const Members&) = delete;

  std::string text(const char* key, bool required = false) {
    const Json* value = find(key, required);
    if (!value) return {};
    if (!value->is_string()) return wrong(key, "a string");
    const auto& result = value->get_ref<const std::string&>();
    if (result.find('\0') != std::string::npos) return wrong(key, "a string without NUL");
    if (required && result.empty()) return wrong(key, "a string that is not empty");
    return result;
  }

  bool flag(const char* key) {
    const Json* value = find(key, false);
    if (value && !value->is_boolean()) wrong(key, "true or false");
    return value && value->is_boolean() && value->get<bool>();
  }

  CORBA::StringSeq list(const char* key, bool required = false) {
    CORBA::StringSeq result;
    const Json* value = find(key, required);
    if (!value) return result;
    const auto is_text = [](const Json& j) {
      return j.is_string() && j.get_ref<const std::string&>().find('\0') == std::string::npos;
    };
    if (!value->is_array() || !std::all_of(value->begin(), value->end(), is_text) || (required && value->empty())) {
      wrong(key, required ? "a list of strings that is not empty" : "a list of strings");
      return result;
    }
    result.length(static_cast<CORBA::ULong>(value->size()));
    for (CORBA::ULong i = 0; i < result.length(); ++i) result[i] = (*value)[i].get_ref<const std::string&>().c_str();
    return result;
  }

  CORBA::ULongLong duration(const char* key, CORBA::ULongLong otherwise) {
    const std::string value = text(key);
    try {
      return value.empty() ? otherwise : static_cast<CORBA::ULongLong>(parse_duration(value).count());
    } catch (const Failure&) {
      wrong(key, "a duration as in \"30s\"");
      return otherwise;
    }
  }

 private:
  const Json* find(const char* key, bool required) {
    m_known.insert(key);
    const auto found = m_object.is_object() ? m_object.find(key) : m_object.end();
    if (m_object.is_object() && found != m_object.end() && !found->is_null()) return &*found;
    if (required && m_object.is_object()) m_complain("has no \"" + std::string(key) + "\"");
    return nullptr;
  }
  std::string wrong(const char* key, const char* expected) {
    m_complain("has a \"" + std::string(key) + "\" that is not " + expected);
    return {};
  }

  const Json& m_object;
  const Complain m_complain;
  std::set<std::string> m_known;
};

QZ_IMRAdmin::ProcessInfo read_process(Members& members) {
  QZ_IMRAdmin::ProcessInfo info;
  info.name = members.text("name", true).c_str();
  info.argv = members.list("command", true);
  info.working_directory = members.text("directory").c_str();
  info.environment = members.list("environment");
  info.user = members.text("user").c_str();
  info.startup_time_limit = members.duration("startup_limit", 0);
  info.stop_grace = members.duration("stop_grace", DEFAULT_STOP_GRACE);
  info.log_file = members.text("log").c_str();
  return info;
}

QZ_LocationCommon::ORBInfo read_orb(Members& members) {
  QZ_LocationCommon::ORBInfo info;
  info.name = members.text("name", true).c_str();
  info.process = members.text("process").c_str();
  return info;
}

QZ_IMRAdmin::POAEntry read_poa(Members& members, const Members::Complain& complain) {
  QZ_IMRAdmin::POAEntry entry;
  const std::string name = members.text("name", true);
  try {
    if (!name.empty()) entry.name = parse_poa_name(name);
  } catch (const Failure&) {
    complain("has a \"name\" that is not the name of a POA");
  }
  entry.persistent = members.flag("persistent");
  entry.allow_dynamic_registration = members.flag("dynamic");
  entry.orb_name = members.text("orb").c_str();
  if (entry.persistent && name == "/") complain("is the root and persistent");
  return entry;
}

// Otherwise in the order of the document, which is that of the children of a POA.
std::vector<QZ_IMRAdmin::POAEntry> by_depth(const std::vector<QZ_IMRAdmin::POAEntry>& entries) {
  std::map<CORBA::ULong, std::vector<const QZ_IMRAdmin::POAEntry*>> levels;
  for (const auto& entry : entries) levels[entry.name.length()].push_back(&entry);
  std::vector<QZ_IMRAdmin::POAEntry> result;
  result.reserve(entries.size());
  for (const auto& [depth, level] : levels)
    for (const auto* entry : level) result.push_back(*entry);
  return result;
}

class DocumentReader {
 public:
  explicit DocumentReader(std::vector<std::string>& mistakes) : m_mistakes(mistakes) {}

  RepositoryDocument read(const Json& json) {
    RepositoryDocument result;
    if (!json.is_object() || json.value("poalocator", Json()) != Json(FORMAT)) {
      m_mistakes.emplace_back("It is no repository: a repository is an object with \"poalocator\": 1");
      return result;
    }
    for (const auto& [key, value] : json.items())
      if (key != "poalocator" && key != "processes" && key != "orbs" && key != "poas")
        m_mistakes.push_back("There is a member \"" + printable(key) + "\", which is not known");
    read_list(json, "processes", "process", result.processes, [](Members& m, const auto&) { return read_process(m); });
    read_list(json, "orbs", "ORB", result.orbs, [](Members& m, const auto&) { return read_orb(m); });
    read_list(json, "poas", "POA", result.poas, read_poa);
    result.poas = by_depth(result.poas);
    return result;
  }

 private:
  template <class Entry, class Read>
  void read_list(const Json& json, const char* key, const char* kind, std::vector<Entry>& entries, Read read_entry) {
    const auto list = json.find(key);
    if (list == json.end()) return;
    if (!list->is_array()) {
      m_mistakes.push_back("\"" + std::string(key) + "\" is not a list");
      return;
    }
    std::set<std::string> names;
    for (std::size_t i = 0; i < list->size(); ++i) {
      const Json& object = (*list)[i];
      const std::string name = object.is_object() && object.value("name", Json()).is_string()
                                   ? object["name"].template get<std::string>()
                                   : std::string();
      const std::string what = "Entry " + std::to_string(i + 1) + " of \"" + key + "\"" +
                               (name.empty() ? "" : ", " + std::string(kind) + " \"" + printable(name) + "\",");
      const Members::Complain complain = [&](const std::string& text) { m_mistakes.push_back(what + " " + text); };
      if (!name.empty() && !names.insert(name).second) complain("is there twice");
      Members members(object, complain);
      entries.push_back(read_entry(members, complain));
    }
  }

  std::vector<std::string>& m_mistakes;
};

}  // namespace

Json to_json(const QZ_IMRAdmin::ProcessInfo& info) {
  return {{"name", info.name.in()},
          {"command", list_json(info.argv)},
          {"directory", text_or_null(info.working_directory)},
          {"environment", list_json(info.environment)},
          {"user", text_or_null(info.user)},
          {"startup_limit", duration_text(info.startup_time_limit)},
          {"stop_grace", duration_text(info.stop_grace)},
          {"log", text_or_null(info.log_file)}};
}

Json to_json(const QZ_LocationCommon::ORBInfo& info) {
  return {{"name", info.name.in()}, {"process", text_or_null(info.process)}};
}

Json to_json(const QZ_IMRAdmin::POAEntry& entry) {
  return {{"name", poa_name_text(entry.name)},
          {"persistent", bool{entry.persistent}},
          {"dynamic", bool{entry.allow_dynamic_registration}},
          {"orb", text_or_null(entry.orb_name)}};
}

RepositoryDocument parse_document(const std::string& text, std::vector<std::string>& mistakes) {
  Json json;
  try {
    json = Json::parse(text);
  } catch (const Json::parse_error& error) {
    mistakes.push_back("It is no JSON, from octet " + std::to_string(error.byte) + " on");
    return {};
  } catch (const Json::out_of_range&) {
    mistakes.emplace_back("It has a number that is too large");
    return {};
  }
  return DocumentReader(mistakes).read(json);
}

}  // namespace poaloc
