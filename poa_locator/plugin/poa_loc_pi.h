// The plug-in as the daemon sees it. Loading the library makes exactly one, which announces itself to the process's
// plug-in manager as "poa_locator". The lifecycle calls come from the daemon's start-up and shutdown thread, one at a
// time.
#pragma once

#include <memory>

#include "platform/base/qz_string.h"
#include "platform/idl/oa_locator_plugin.h"

class POALocatorImpl;

class QZ_POALocPlugIn : public virtual QZ_LocationPlugIn::OALocatorPlugIn {
 public:
  // BAD_PARAM when the process has a plug-in of this name.
  QZ_POALocPlugIn();
  ~QZ_POALocPlugIn() override;
  QZ_POALocPlugIn(const QZ_POALocPlugIn&) = delete;
  QZ_POALocPlugIn& operator=(const QZ_POALocPlugIn&) = delete;

  // Always 1.
  CORBA::Long type() override;
  char* name() override;

  // Builds the core. Raises what made that fail; there is no core then. BAD_INV_ORDER when there is one already.
  void initialize(QZ_AppServices::ServiceControlManager_ptr service_control_manager,
                  QZ_LocatorInternal::Locator_ptr locator, PortableServer::POA_ptr parent_poa,
                  QZ_PSS::SessionManager_ptr session_manager) override;
  // Reports that the service stops, and shuts the core down if there is one.
  void cleanup() override;
  // BAD_INV_ORDER when there is no core.
  void validate_persistent_data() override;

 private:
  void report_status(CORBA::Long code);

  const QZ_String m_name;
  QZ_AppServices::ServiceControlManager_var m_service_control_manager;  // nil until initialize
  std::unique_ptr<POALocatorImpl> m_locator_impl;                       // null before initialize and after cleanup
};
