#include "daemon/orb_access.h"

// What an interceptor is told is defined in headers that lean on each other in this order.
// clang-format off
#include <omniORB4/callDescriptor.h>
#include <omniORB4/internal/giopStream.h>
#include <omniORB4/internal/giopStrand.h>
#include <omniORB4/internal/GIOP_S.h>
#include <omniORB4/omniInterceptors.h>
// clang-format on

#include <algorithm>
#include <asio/io_context.hpp>
#include <asio/ip/host_name.hpp>
#include <asio/ip/tcp.hpp>
#include <atomic>
#include <qz_locator_internal.hh>

#include "daemon/loopback.h"
#include "daemon/table_reader.h"
#include "platform/base/ref_count_handle.h"
#include "platform/orb/ior_impl.h"

namespace poalocd {

namespace {

constexpr const char* TRANSPORT = "giop:tcp:";

std::atomic<const OrbAccess*> in_use{nullptr};

// omniORB's interceptors are plain functions.
CORBA::Boolean check_request(omni::omniInterceptors::serverReceiveRequest_T::info_T& info) {
  const OrbAccess* access = in_use.load(std::memory_order_acquire);
  const char* address = info.myaddress();
  auto& request = info.giop_s;
  const std::string_view key(reinterpret_cast<const char*>(request.key()),
                             static_cast<std::size_t>(std::max(request.keysize(), 0)));
  if (access && !access->admits(address ? address : "", key)) throw CORBA::OBJECT_NOT_EXIST(0, CORBA::COMPLETED_NO);
  return true;
}

bool is_every_address(const std::string& host) {
  return host == "0.0.0.0" || host == "::";
}

bool has(const std::vector<int>& roles, int role) {
  return std::find(roles.begin(), roles.end(), role) != roles.end();
}

// Its numeric addresses, of which there are none when the name is not known.
std::vector<std::string> numeric_hosts(const std::string& host) {
  asio::io_context context;
  asio::ip::tcp::resolver resolver(context);
  std::error_code unknown;
  std::vector<std::string> result;
  for (const auto& entry : resolver.resolve(host, "", unknown))
    result.push_back(entry.endpoint().address().to_string());
  return result;
}

}  // namespace

OrbAccess::OrbAccess(std::vector<OrbListenerSettings> listeners) : m_listeners(std::move(listeners)) {
  for (const auto& listener : m_listeners) {
    const auto port = listener.address.port;
    if (is_every_address(listener.address.host)) {
      m_by_port.insert_or_assign(std::to_string(port), listener.roles);
      continue;
    }
    for (const auto& host : numeric_hosts(listener.address.host))
      m_by_address.insert_or_assign(TRANSPORT + QZ_IOR::to_text({host, port}), listener.roles);
  }
}

OrbAccess::~OrbAccess() {
  in_use = nullptr;
}

std::vector<OrbListenerSettings> OrbAccess::for_role(int role) const {
  std::vector<OrbListenerSettings> result;
  for (const auto& listener : m_listeners)
    if (has(listener.roles, role)) result.push_back(listener);
  const auto local = [](const auto& listener) {
    return is_loopback(listener.published.empty() ? listener.address.host : split_address(listener.published).host);
  };
  if (!std::all_of(result.begin(), result.end(), local)) std::erase_if(result, local);
  return result;
}

std::vector<std::pair<std::string, std::string>> OrbAccess::orb_options() const {
  auto published = for_role(QZ_LocatorInternal::ROLE_ADMINISTRATOR);
  if (published.empty()) published = m_listeners;
  std::vector<std::pair<std::string, std::string>> result;
  std::string specification;
  for (const auto& listener : m_listeners) {
    const auto is_this = [&](const auto& other) {
      return QZ_IOR::to_text(other.address) == QZ_IOR::to_text(listener.address);
    };
    const bool shown = std::any_of(published.begin(), published.end(), is_this);
    const bool as_it_is = shown && listener.published.empty();
    result.emplace_back(as_it_is ? "endPoint" : "endPointNoPublish", TRANSPORT + QZ_IOR::to_text(listener.address));
    if (!shown) continue;
    if (!specification.empty()) specification += ",";
    specification += as_it_is ? "addr" : TRANSPORT + listener.published;
  }
  result.emplace_back("endPointPublish", specification);
  return result;
}

std::string OrbAccess::text() const {
  std::string result;
  for (const auto& listener : m_listeners) result += (result.empty() ? "" : ", ") + QZ_IOR::to_text(listener.address);
  return result;
}

void OrbAccess::begin() {
  const bool all_admit_all = std::all_of(m_listeners.begin(), m_listeners.end(), [](const auto& listener) {
    return has(listener.roles, QZ_LocatorInternal::ROLE_SERVER) &&
           has(listener.roles, QZ_LocatorInternal::ROLE_ADMINISTRATOR);
  });
  if (all_admit_all) return;
  in_use = this;
  omniORB::getInterceptors()->serverReceiveRequest.add(check_request);
}

QZ_IOR::IOR_ptr OrbAccess::admit_servers(CORBA::Object_ptr object) {
  RefCountHandle<QZ_IOR::IORImpl> reference(QZ_IOR::from_object(object));
  const auto key = reference->object_key();
  {
    const QZ_MutexLock lock(m_mutex);
    m_server_keys.emplace(key.begin(), key.end());
  }
  std::vector<QZ_IOR::Address> addresses;
  for (const auto& listener : for_role(QZ_LocatorInternal::ROLE_SERVER)) {
    addresses.push_back(listener.published.empty() ? listener.address : split_address(listener.published));
    if (is_every_address(addresses.back().host)) addresses.back().host = asio::ip::host_name();
  }
  // With one listener, the ORB has put into the reference where it really listens.
  if (m_listeners.size() == 1 || addresses.empty()) return QZ_IOR::IOR::_duplicate(reference.get());
  const QZ_IOR::IOREndpoint_var endpoint = QZ_IOR::IOREndpointImpl::of_addresses(addresses, key);
  const CORBA::String_var type_id = reference->type_id();
  return endpoint->make_ior(CORBA::OctetSeq(), type_id);
}

const OrbAccess::Roles* OrbAccess::roles_at(std::string_view local_address) const {
  if (m_listeners.size() == 1) return &m_listeners.front().roles;
  if (const auto found = m_by_address.find(local_address); found != m_by_address.end()) return &found->second;
  const auto colon = local_address.rfind(':');
  if (colon == std::string_view::npos) return nullptr;
  const auto found = m_by_port.find(local_address.substr(colon + 1));
  return found == m_by_port.end() ? nullptr : &found->second;
}

bool OrbAccess::admits(std::string_view local_address, std::string_view object_key) const {
  const Roles* roles = roles_at(local_address);
  if (!roles) return false;
  const QZ_MutexLock lock(m_mutex);
  return has(*roles, m_server_keys.contains(object_key) ? QZ_LocatorInternal::ROLE_SERVER
                                                        : QZ_LocatorInternal::ROLE_ADMINISTRATOR);
}

}  // namespace poalocd
