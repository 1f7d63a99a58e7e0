#include "daemon/service_control_impl.h"

#include <systemd/sd-daemon.h>

namespace poalocd {

void ServiceControlImpl::status(CORBA::Long code) {
  if (code == QZ_AppServices::STATUS_WORKING)
    working();
  else if (code == QZ_AppServices::STATUS_STOPPING)
    sd_notify(0, "STOPPING=1\nSTATUS=Stopping\nEXTEND_TIMEOUT_USEC=60000000");
}

// Good for a minute, and a long start says it for every record that it reads.
void ServiceControlImpl::working() {
  const auto now = std::chrono::steady_clock::now();
  if (now < m_next_working.load(std::memory_order_relaxed)) return;
  m_next_working.store(now + std::chrono::seconds(1), std::memory_order_relaxed);
  sd_notify(0, "STATUS=Working\nEXTEND_TIMEOUT_USEC=60000000");
}

void ServiceControlImpl::ready(const std::string& text) {
  sd_notify(0, ("READY=1\nSTATUS=" + text).c_str());
}

}  // namespace poalocd
