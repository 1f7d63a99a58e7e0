#include "tests/support/object_key.h"

#include <algorithm>

namespace support {

Octets endpoint_id(const std::string& domain, const std::vector<std::string>& path) {
  Octets names;
  for (const std::string& name : path) names = names + octets_of(name) + Octets{0};
  Octets id;
  for (const Octets& segment : {octets_of("QP"), octets_of(domain), names}) {
    id = id + CdrWriter(ByteOrder::BIG).sequence(segment).octets();
  }
  return id;
}

std::string path_of(const Octets& id) {
  // The third segment, without the NUL at its end.
  Octets names = id;
  for (int segment = 0; segment < 3; ++segment) {
    const std::size_t skipped = segment == 0 ? 0 : CdrReader(names, ByteOrder::BIG).ulong() + 4;
    names.erase(names.begin(), names.begin() + static_cast<std::ptrdiff_t>(skipped));
  }
  names = CdrReader(names, ByteOrder::BIG).sequence();
  if (!names.empty()) names.pop_back();
  std::replace(names.begin(), names.end(), Octets::value_type{0}, Octets::value_type{'/'});
  return text_of(names);
}

std::vector<std::string> split_path(const std::string& path) {
  std::vector<std::string> names;
  std::size_t begin = 0;
  while (begin <= path.size()) {
    const std::size_t end = std::min(path.find('/', begin), path.size());
    names.push_back(path.substr(begin, end - begin));
    begin = end + 1;
  }
  return names;
}

}  // namespace support
