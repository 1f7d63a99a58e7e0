// The daemon's progress, told to the service manager that started it (sd_notify); without one, to nobody.
#pragma once

#include <qz_app_services.hh>

#include <atomic>
#include <chrono>
#include <string>

#include "platform/orb/ref_counted_local_object.h"

namespace poalocd {

// Safe from any thread.
class ServiceControlImpl : public virtual QZ_AppServices::ServiceControlManager,
                           public QZ_CORBA::RefCountedLocalObject {
 public:
  // STATUS_WORKING: the start-up goes on and may take as long again. STATUS_STOPPING: the service stops.
  // Other codes are ignored.
  void status(CORBA::Long code) override;

  // The start-up is complete. text: one line for "systemctl status".
  void ready(const std::string& text);

 private:
  void working();

  std::atomic<std::chrono::steady_clock::time_point> m_next_working{};
};

}  // namespace poalocd
