#include "daemon/admin/host_admin.h"

#include "daemon/host.h"

namespace poalocd {

HostAdmin::HostAdmin(Host& host) : m_imr(host), m_active(host) {}

HostAdmin::~HostAdmin() {
  stop();
}

void HostAdmin::stop() {
  m_active.stop();
  m_imr.stop();
}

}  // namespace poalocd
