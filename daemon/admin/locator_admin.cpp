#include "daemon/admin/locator_admin.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <vector>

#include "daemon/admin/status_counters.h"
#include "daemon/host.h"
#include "platform/orb/ior_impl.h"

namespace poalocd {

namespace {

// Octets of the messages of one answer, well below what any ORB takes as one message.
constexpr std::size_t MAX_SIZE = std::size_t{256} * 1024;

QZ_LocatorAdmin::Time time_of(std::chrono::system_clock::time_point time) {
  return static_cast<QZ_LocatorAdmin::Time>(
      std::chrono::duration_cast<std::chrono::microseconds>(time.time_since_epoch()).count());
}

}  // namespace

LocatorAdmin::LocatorAdmin(Host& host)
    : AdminServant(host.orb_nc(), host.parent_poa_nc()),
      m_host(host),
      m_start_time(time_of(std::chrono::system_clock::now())) {}

QZ_LocatorAdmin::Status* LocatorAdmin::info() {
  QZ_LocatorAdmin::Status_var status = new QZ_LocatorAdmin::Status;
  status->version = POALOCATOR_VERSION;
  status->domain = m_host.configuration().settings().domain.c_str();
  status->pid = static_cast<CORBA::ULong>(::getpid());
  status->start_time = m_start_time;
  const auto addresses = m_host.binding_manager().addresses();
  status->addresses.length(static_cast<CORBA::ULong>(addresses.size()));
  for (CORBA::ULong i = 0; i < status->addresses.length(); ++i)
    status->addresses[i] = QZ_IOR::to_text(addresses[i]).c_str();
  status->entries = entry_counters(m_host);
  if (const auto* front_door = m_host.front_door()) status->front_door = front_door_counters(front_door->counters());
  return status._retn();
}

QZ_LocatorAdmin::EventList* LocatorAdmin::next_events(CORBA::ULongLong after, CORBA::ULong how_many,
                                                      CORBA::ULong wait_ms) {
  std::vector<EventRing::Entry> found;
  if (m_host.event_log().ring().next(after, std::clamp<std::size_t>(how_many, 1, EventRing::CAPACITY),
                                     Milliseconds(wait_ms), found) == EventRing::Outcome::TOO_MANY_WAIT)
    throw CORBA::NO_RESOURCES(0, CORBA::COMPLETED_NO);
  QZ_LocatorAdmin::EventList_var result = new QZ_LocatorAdmin::EventList;
  result->length(static_cast<CORBA::ULong>(found.size()));
  std::size_t size = 0;
  for (CORBA::ULong i = 0; i < result->length(); ++i) {
    const auto& entry = found[i];
    size += entry.message.size();
    if (size > MAX_SIZE) {
      result->length(i);
      break;
    }
    auto& event = result[i];
    event.number = entry.number;
    event.at = time_of(entry.time);
    event.subsystem = entry.subsystem.c_str();
    event.id = entry.id;
    event.priority = entry.priority;
    event.message = entry.message.c_str();
  }
  return result._retn();
}

CORBA::Object_ptr LocatorAdmin::make_reference(const CORBA::OctetSeq& object_key, const char* type_id) {
  if (object_key.length() == 0) throw CORBA::BAD_PARAM(0, CORBA::COMPLETED_NO);
  const QZ_IOR::IOREndpoint_var endpoint = m_host.binding_manager().endpoint(object_key, nullptr);
  const QZ_IOR::IOR_var ior = endpoint->make_ior(CORBA::OctetSeq(), type_id);
  return QZ_IOR::to_object(ior);
}

}  // namespace poalocd
