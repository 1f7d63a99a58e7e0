#include "daemon/admin/active_process_admin.h"

#include "daemon/admin/log_file.h"

namespace poalocd {

RefCountHandle<ActiveProcessImpl> ActiveProcessAdmin::process() {
  auto result = m_processes.find_configured(object_id());
  if (result.is_null()) throw CORBA::OBJECT_NOT_EXIST(0, CORBA::COMPLETED_NO);
  return result;
}

char* ActiveProcessAdmin::name() {
  return process()->name();
}

QZ_LocatorAdmin::ActiveProcessInfo* ActiveProcessAdmin::info() {
  return process()->info();
}

void ActiveProcessAdmin::start() {
  try {
    process()->start();
  } catch (const QZ_LocatorInternal::StartFailed& e) {
    throw QZ_LocatorAdmin::StartFailed(e.reason);
  }
}

void ActiveProcessAdmin::stop() {
  process()->stop();
}

void ActiveProcessAdmin::restart() {
  try {
    process()->restart();
  } catch (const QZ_LocatorInternal::StartFailed& e) {
    throw QZ_LocatorAdmin::StartFailed(e.reason);
  }
}

CORBA::OctetSeq* ActiveProcessAdmin::read_log(CORBA::LongLong position, CORBA::ULong how_many, CORBA::LongLong& next) {
  const auto of = process();
  std::string file;
  try {
    file = of->settings().log_file;
  } catch (const QZ_LocatorInternal::StartFailed&) {
    throw CORBA::OBJECT_NOT_EXIST(0, CORBA::COMPLETED_NO);  // removed since
  }
  return read_log_file(file, position, how_many, next);
}

}  // namespace poalocd
