// Which objects of the daemon's own ORB are served at which of its addresses.
#pragma once

#include <omniORB4/CORBA.h>

#include <map>
#include <qz_ior.hh>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "daemon/settings.h"
#include "platform/base/qz_mutex.h"

namespace poalocd {

// An object is for servers when that was said of it, and for administrators otherwise. A request at an address that
// does not admit whom its object is for is answered as if there were no such object. (omniORB asks nobody about
// LocateRequests: they find every object everywhere.)
//
// There is one ORB in a process, and one of these for it, which outlives it. Safe from any thread.
class OrbAccess {
 public:
  explicit OrbAccess(std::vector<OrbListenerSettings> listeners);
  ~OrbAccess();
  OrbAccess(const OrbAccess&) = delete;
  OrbAccess& operator=(const OrbAccess&) = delete;

  // Options with which the ORB listens there. References then carry addresses for administrators; loopback addresses
  // only when there are no others.
  std::vector<std::pair<std::string, std::string>> orb_options() const;
  // "HOST:PORT, HOST:PORT"
  std::string text() const;
  // When the ORB is made and before it listens.
  void begin();

  // The object is for servers from now on. Its reference, with addresses for servers; the caller releases it.
  QZ_IOR::IOR_ptr admit_servers(CORBA::Object_ptr object);

  // local_address: of the ORB's side of the connection, as the ORB writes it.
  bool admits(std::string_view local_address, std::string_view object_key) const;

 private:
  using Roles = std::vector<int>;

  std::vector<OrbListenerSettings> for_role(int role) const;
  const Roles* roles_at(std::string_view local_address) const;

  const std::vector<OrbListenerSettings> m_listeners;
  std::map<std::string, Roles, std::less<>> m_by_address;  // as the ORB writes it
  std::map<std::string, Roles, std::less<>> m_by_port;     // of listeners on every address

  mutable QZ_Mutex m_mutex;
  std::set<std::string, std::less<>> m_server_keys GUARDED_BY(m_mutex);
};

}  // namespace poalocd
