// Object keys: segments, routes, endpoint ids. The first octet of the input says which of the key's own prefixes are
// registered as routes, the rest is the key.
#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "cli/poa_name.h"
#include "cli/reference.h"
#include "cli/text.h"
#include "platform/binding/binding_manager_impl.h"
#include "platform/binding/key_segments.h"
#include "platform/binding/prefix_routes.h"
#include "poa_locator/imr/endpoint_id_utils.h"
#include "tests/fuzz/check.h"

namespace {

using QZ_Binding::KeySegment;
using Octets = std::span<const unsigned char>;

CORBA::OctetSeq octet_seq(Octets octets) {
  const auto size = static_cast<CORBA::ULong>(octets.size());
  CORBA::OctetSeq result(size);
  result.length(size);
  std::copy(octets.begin(), octets.end(), result.get_buffer());
  return result;
}

bool same(const CORBA::OctetSeq& sequence, Octets octets) {
  return std::equal(octets.begin(), octets.end(), sequence.get_buffer(), sequence.get_buffer() + sequence.length());
}

std::vector<std::string> names(const CORBA::StringSeq& sequence) {
  std::vector<std::string> result;
  for (CORBA::ULong i = 0; i < sequence.length(); ++i) result.emplace_back(sequence[i].in());
  return result;
}

// A single empty name, which is what octets behind one NUL leave, is written as the root.
std::vector<std::string> written_names(const CORBA::StringSeq& sequence) {
  auto result = names(sequence);
  if (result == std::vector<std::string>{""}) result.clear();
  return result;
}

// Every whole segment from the key's beginning on.
std::vector<KeySegment> segments_of(Octets key) {
  std::vector<KeySegment> result;
  std::size_t position = 0;
  while (const auto segment = QZ_Binding::key_segment_at(key, position)) {
    FUZZ_CHECK(segment->offset == position + 4 && segment->end() <= key.size());
    result.push_back(*segment);
    position = segment->end();
  }
  return result;
}

void check_manager(QZ_Binding::BindingManagerImpl& manager, Octets key, const std::vector<KeySegment>& segments) {
  const CORBA::OctetSeq whole = octet_seq(key);
  CORBA::OctetSeq built;
  manager.start_key(built);
  CORBA::ULong offset = 0, length = 0;
  for (std::size_t i = 0; i < segments.size(); ++i) {
    manager.segment(whole, static_cast<CORBA::ULong>(i), offset, length);
    FUZZ_CHECK(offset == segments[i].offset && length == segments[i].length);
    manager.segment_at(whole, static_cast<CORBA::ULong>(segments[i].offset - 4), offset, length);
    FUZZ_CHECK(offset == segments[i].offset && length == segments[i].length);
    manager.append_segment(built, octet_seq(key.subspan(offset, length)));
  }
  FUZZ_CHECK(same(built, key.first(segments.empty() ? 0 : segments.back().end())));
  bool refused = false;
  try {
    manager.segment(whole, static_cast<CORBA::ULong>(segments.size()), offset, length);
  } catch (const CORBA::INV_OBJREF&) {
    refused = true;
  }
  FUZZ_CHECK(refused);
}

void check_routes(Octets key, const std::vector<KeySegment>& segments, unsigned registered) {
  using QZ_Binding::PrefixRoutes;
  using QZ_Binding::Route;
  const std::string text(key.begin(), key.end());
  const std::size_t count = std::min<std::size_t>(segments.size(), PrefixRoutes::MAX_SEGMENTS);
  PrefixRoutes routes;
  std::optional<std::size_t> longest;
  for (std::size_t i = 0; i < count; ++i) {
    const auto route = [&](const std::string& prefix) {
      return std::make_shared<const Route>(prefix, QZ_Binding::ServerRequestInterceptor::_nil(),
                                           QZ_Binding::DISPATCH_INLINE);
    };
    const std::string prefix = text.substr(0, segments[i].end());
    if ((registered >> i & 1) != 0) {
      FUZZ_CHECK(routes.add(route(prefix)) && !routes.add(route(prefix)));
      longest = prefix.size();
    }
    // One that differs in its last octet must never be found.
    std::string other = prefix;
    other.back() = static_cast<char>(other.back() ^ 1);
    if (segments[i].length > 0) routes.add(route(other));
  }
  if (key.empty()) return;
  const auto found = routes.find(key);
  FUZZ_CHECK((found != nullptr) == longest.has_value());
  if (found) FUZZ_CHECK(found->prefix() == text.substr(0, *longest));
}

void check_endpoint_id(Octets key, std::size_t segments) {
  const CORBA::OctetSeq id = octet_seq(key);
  FUZZ_CHECK(poaloc::from_hex(EndpointIdUtils::id_to_octet_string(id)) ==
             std::vector<unsigned char>(key.begin(), key.end()));
  FUZZ_CHECK(EndpointIdUtils::id_to_string(id).size() == key.size());
  try {
    const QZ_POAIMRAdmin::FullyQualifiedName_var name = EndpointIdUtils::id_to_fqpn(id);
    FUZZ_CHECK(segments >= 3);
    EndpointIdUtils::id_to_fqpn_string(id);
    const CORBA::OctetSeq_var written = EndpointIdUtils::id_from_fqpn(name);
    const QZ_POAIMRAdmin::FullyQualifiedName_var again = EndpointIdUtils::id_to_fqpn(written);
    FUZZ_CHECK(names(again) == written_names(name));
    const CORBA::OctetSeq_var child = EndpointIdUtils::child_id(id, "child");
    const CORBA::OctetSeq_var parent = EndpointIdUtils::parent_id(child);
    const QZ_POAIMRAdmin::FullyQualifiedName_var parent_name = EndpointIdUtils::id_to_fqpn(parent);
    FUZZ_CHECK(names(parent_name) == written_names(name));
  } catch (const CORBA::INV_OBJREF&) {
    FUZZ_CHECK(segments < 3);
  }
}

// As the administrator's command takes keys apart.
void check_persistent_key(Octets key, const std::vector<KeySegment>& segments) {
  const auto persistent = poaloc::parse_persistent_key({key.begin(), key.end()});
  if (!persistent) return;
  FUZZ_CHECK(segments.size() >= 3 && persistent->object_id.size() == key.size() - segments[2].end());
  const auto parts = names(persistent->poa);
  if (std::find(parts.begin(), parts.end(), "") != parts.end()) return;
  FUZZ_CHECK(names(poaloc::parse_poa_name(poaloc::poa_name_text(persistent->poa))) == parts);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static auto* const manager = new QZ_Binding::BindingManagerImpl;
  if (CORBA::is_nil(EndpointIdUtils::m_binding_manager)) {
    manager->_qz_add_ref();
    EndpointIdUtils::m_binding_manager = manager;
    EndpointIdUtils::m_domain_name = "fuzz";
  }
  if (size == 0) return 0;
  const Octets key(data + 1, size - 1);
  const auto segments = segments_of(key);
  check_manager(*manager, key, segments);
  check_routes(key, segments, data[0]);
  check_endpoint_id(key, segments.size());
  check_persistent_key(key, segments);
  return 0;
}
