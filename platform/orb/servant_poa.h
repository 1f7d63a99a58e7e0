// The child POA of a servant that serves all objects of its interface: persistent, user ids, default servant.
//
// The POA counts a reference of the servant, so whoever owns the servant closes the POA first: OwnedServant does both.
// Made and destroyed on the daemon's start-up and shutdown thread; references may be made on any thread.
#pragma once

#include <omniORB4/CORBA.h>

#include <memory>

class ServantPOA {
 public:
  // Under parent, with its manager. Requests may reach servant before the constructor has returned, so this is the last
  // member of the servant. AdapterAlreadyExists when parent has such a child.
  ServantPOA(CORBA::ORB_ptr orb, PortableServer::POA_ptr parent, const char* name, PortableServer::Servant servant);
  ~ServantPOA() { destroy(); }
  ServantPOA(const ServantPOA&) = delete;
  ServantPOA& operator=(const ServantPOA&) = delete;

  // Not duplicated.
  PortableServer::POA_ptr poa_nc() const { return m_poa; }
  // The caller releases it.
  CORBA::Object_ptr create_reference(const char* object_id, const char* interface_id) const;

  // Returns when no request is inside the servant and none can enter any more. A second call does nothing.
  void destroy() noexcept;

 private:
  const PortableServer::POA_var m_poa;
};

// Servant has impl_close(), which destroys its ServantPOA; or it is counted like a servant and owns some.
template <class Servant>
struct ServantCloser {
  void operator()(Servant* servant) const {
    servant->impl_close();
    servant->_remove_ref();
  }
};

template <class Servant>
using OwnedServant = std::unique_ptr<Servant, ServantCloser<Servant>>;
