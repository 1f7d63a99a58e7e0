#include "daemon/admin/host_admin.h"

#include "daemon/host.h"

namespace poalocd {

HostAdmin::HostAdmin(Host&) {}

HostAdmin::~HostAdmin() {
  stop();
}

void HostAdmin::stop() {}

}  // namespace poalocd
