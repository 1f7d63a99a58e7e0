// A record of another object adapter in the host's table of active ORBs.
#pragma once

#include <qz_locator_internal.hh>

#include <string>
#include <utility>

#include "platform/orb/ref_counted_local_object.h"

class ForeignOrb : public virtual QZ_LocatorInternal::ActiveORB, public QZ_CORBA::RefCountedLocalObject {
 public:
  explicit ForeignOrb(std::string name) : m_name(std::move(name)) {}

  char* name() override { return CORBA::string_dup(m_name.c_str()); }
  QZ_LocationCommon::ORBInfo* orb_info() override { return new QZ_LocationCommon::ORBInfo; }
  QZ_LocatorInternal::ActiveProcess_ptr process() override { return QZ_LocatorInternal::ActiveProcess::_nil(); }
  void process_died() override {}
  QZ_LocatorAdmin::ActiveORB_ptr external_reference() override { return QZ_LocatorAdmin::ActiveORB::_nil(); }
  CORBA::Boolean validate() override { return true; }
  CORBA::Boolean probe() override { return true; }
  CORBA::Boolean registered() override { return true; }
  void destroy() override {}

 private:
  const std::string m_name;
};
