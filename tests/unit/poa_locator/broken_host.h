// A host locator one of whose services cannot be had.
#pragma once

#include <qz_locator_internal.hh>

#include "platform/orb/ref_counted_local_object.h"

class BrokenHost : public virtual QZ_LocatorInternal::Locator, public QZ_CORBA::RefCountedLocalObject {
 public:
  enum Broken { PROCESSES, LOCATORS };

  // Duplicates whole, which gives all but the broken service; that raises NO_RESOURCES.
  BrokenHost(QZ_LocatorInternal::Locator_ptr whole, Broken broken)
      : m_whole(QZ_LocatorInternal::Locator::_duplicate(whole)), m_broken(broken) {}

  CORBA::ORB_ptr _qz_get_orb() override { return QZ_CORBA::orb_of(m_whole); }
  char* domain_name() override { return m_whole->domain_name(); }
  QZ_IMRInternal::IMR_ptr imr() override { return m_whole->imr(); }
  QZ_LocatorInternal::ActiveORBRegistry_ptr active_orb_registry() override { return m_whole->active_orb_registry(); }
  QZ_LocatorInternal::ActiveProcessRegistry_ptr active_process_registry() override {
    raise_if(PROCESSES);
    return m_whole->active_process_registry();
  }
  QZ_LocatorInternal::OALocatorRegistry_ptr oa_locator_registry() override {
    raise_if(LOCATORS);
    return m_whole->oa_locator_registry();
  }
  void make_known(const char* name, CORBA::Object_ptr reference, CORBA::Long role) override {
    m_whole->make_known(name, reference, role);
  }

 private:
  void raise_if(Broken service) const {
    if (m_broken == service) throw CORBA::NO_RESOURCES(9, CORBA::COMPLETED_NO);
  }

  const QZ_LocatorInternal::Locator_var m_whole;
  const Broken m_broken;
};
