// What the servants of the host's administration have in common: one serves all objects of its interface, and what a
// request is about follows from the id of its object. References stay valid over restarts of the daemon.
#pragma once

#include <omniORB4/CORBA.h>

#include <qz_locator_internal.hh>
#include <string>

#include "platform/orb/initial_reference.h"
#include "platform/orb/servant_poa.h"

namespace poalocd {

// Skeleton: POA_X::Interface. Owned with OwnedServant.
template <class Skeleton, class Interface>
class AdminServant : public Skeleton {
 public:
  // No request comes in before the parent's manager is activated.
  AdminServant(CORBA::ORB_ptr orb, PortableServer::POA_ptr parent)
      : m_poa_current(initial_reference<PortableServer::Current>(orb, "POACurrent")),
        m_poa(orb, parent, Interface::_PD_repoId, this) {}

  PortableServer::POA_ptr _default_POA() override { return PortableServer::POA::_duplicate(m_poa.poa_nc()); }

  // The caller releases it.
  typename Interface::_ptr_type reference(const std::string& id) const {
    const CORBA::Object_var object = m_poa.create_reference(id.c_str(), Interface::_PD_repoId);
    return Interface::_narrow(object);
  }
  // Its object of that id has that name at the front door, for administrators.
  void make_known(QZ_LocatorInternal::Locator& locator, const char* name, const std::string& id) const {
    const CORBA::Object_var object = reference(id);
    locator.make_known(name, object, QZ_LocatorInternal::ROLE_ADMINISTRATOR);
  }
  // After it no request is inside and none can enter.
  void impl_close() { m_poa.destroy(); }

 protected:
  // That of the request being served.
  std::string object_id() const {
    PortableServer::ObjectId_var id = m_poa_current->get_object_id();
    return {reinterpret_cast<const char*>(id->get_buffer()), id->length()};
  }

 private:
  const PortableServer::Current_var m_poa_current;
  ServantPOA m_poa;
};

}  // namespace poalocd
