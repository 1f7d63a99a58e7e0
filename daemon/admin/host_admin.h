// The administration of the host: its servants, and their names at the front door.
#pragma once

#include "daemon/admin/active_admin.h"
#include "daemon/admin/imr_admin.h"

namespace poalocd {

class Host;

// Made and stopped on the host's thread.
class HostAdmin {
 public:
  // When everything else of the host is there, and before it starts. Nobody is served until then.
  explicit HostAdmin(Host& host);
  ~HostAdmin();
  HostAdmin(const HostAdmin&) = delete;
  HostAdmin& operator=(const HostAdmin&) = delete;

  // Ends what goes on for administrators. After it no request is inside and none can enter. A second call does nothing.
  void stop();

 private:
  ImrAdmin m_imr;
  ActiveAdmin m_active;
};

}  // namespace poalocd
