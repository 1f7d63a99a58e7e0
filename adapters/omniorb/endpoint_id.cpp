#include "adapters/omniorb/endpoint_id.h"

#include <algorithm>
#include <poa_persistent_server.hh>

#include "adapters/omniorb/locator_registration.h"

namespace PoaLocator {

namespace {

void append_segment(std::string& id, const std::string& segment) {
  for (const int shift : {24, 16, 8, 0}) id += static_cast<char>(segment.size() >> shift);
  id += segment;
}

// All that ids of a domain have in common.
std::string domain_prefix(const std::string& domain) {
  std::string prefix;
  append_segment(prefix, QZ_POA_PersistentServer::PERSISTENT_ENDPOINT_FORMAT);
  append_segment(prefix, domain);
  return prefix;
}

}  // namespace

std::vector<std::string> names_of(const std::string& path) {
  std::vector<std::string> names;
  std::size_t begin = 0;
  for (std::size_t end = 0; end != std::string::npos; begin = end + 1) {
    end = path.find('/', begin);
    names.push_back(path.substr(begin, end == std::string::npos ? end : end - begin));
    if (names.back().empty() || names.back().find('\0') != std::string::npos) {
      throw RegistrationError("\"" + path + "\" is no path of a POA; write the POAs' names joined by \"/\".");
    }
  }
  return names;
}

CORBA::OctetSeq endpoint_id_of(const std::string& domain, const std::string& path) {
  std::string names = path + '/';
  std::replace(names.begin(), names.end(), '/', '\0');
  std::string id = domain_prefix(domain);
  append_segment(id, names);

  CORBA::OctetSeq result;
  result.length(static_cast<CORBA::ULong>(id.size()));
  std::copy(id.begin(), id.end(), result.get_buffer());
  return result;
}

std::optional<std::string> path_of(const std::string& domain, const CORBA::OctetSeq& id) {
  const std::string text(reinterpret_cast<const char*>(id.get_buffer()), id.length());
  const std::size_t names_at = domain_prefix(domain).size() + 4;
  if (text.size() <= names_at || text.back() != '\0') return std::nullopt;
  std::string path = text.substr(names_at, text.size() - names_at - 1);
  std::replace(path.begin(), path.end(), '\0', '/');

  const CORBA::OctetSeq same = endpoint_id_of(domain, path);
  if (!std::equal(same.get_buffer(), same.get_buffer() + same.length(), id.get_buffer(),
                  id.get_buffer() + id.length())) {
    return std::nullopt;
  }
  return path;
}

}  // namespace PoaLocator
