// The interface through which the daemon drives an object-adapter locator plug-in. All calls come from the
// daemon's start-up and shutdown thread, one at a time.
#pragma once

#include <omniORB4/CORBA.h>
#include <qz_app_services.hh>
#include <qz_locator_internal.hh>
#include <qz_plugin.hh>
#include <qz_pss.hh>

namespace QZ_LocationPlugIn {

class OALocatorPlugIn : public virtual QZ_PlugIn::PlugIn {
 public:
  // parent_poa: under which the plug-in creates its own POAs. Raises whatever made the start fail.
  virtual void initialize(QZ_AppServices::ServiceControlManager_ptr scm, QZ_LocatorInternal::Locator_ptr locator,
                          PortableServer::POA_ptr parent_poa, QZ_PSS::SessionManager_ptr session_manager) = 0;
  virtual void cleanup() = 0;
  // Drops restored state that does not hold any more.
  virtual void validate_persistent_data() = 0;
};

}  // namespace QZ_LocationPlugIn
