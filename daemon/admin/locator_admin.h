// Serves the locator itself to administrators.
#pragma once

#include <qz_locator_admin.hh>

#include "daemon/admin/admin_servant.h"

namespace poalocd {

class Host;

// Safe from any thread.
class LocatorAdmin : public AdminServant<POA_QZ_LocatorAdmin::Locator, QZ_LocatorAdmin::Locator> {
 public:
  explicit LocatorAdmin(Host& host);

  QZ_LocatorAdmin::Status* info() override;
  // NO_RESOURCES when too many wait already: each waits on a thread of the ORB.
  QZ_LocatorAdmin::EventList* next_events(CORBA::ULongLong after, CORBA::ULong how_many, CORBA::ULong wait_ms) override;
  // BAD_PARAM for an empty key.
  CORBA::Object_ptr make_reference(const CORBA::OctetSeq& object_key, const char* type_id) override;

 private:
  Host& m_host;
  const QZ_LocatorAdmin::Time m_start_time;
};

}  // namespace poalocd
