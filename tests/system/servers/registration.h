// How a test server makes POAs and tells the locator of them, by hand and with no library in between.
#pragma once

#include <mutex>
#include <poa_persistent_server.hh>
#include <set>
#include <string>

#include "tests/system/servers/test_server_options.h"

class Registration {
 public:
  Registration(CORBA::ORB_ptr orb, const TestServerOptions& options);

  // Makes the POA and registers it. A second call for the same path does nothing.
  void add(const std::string& path);
  void add_activator();
  // Unregisters everything.
  void leave();

 private:
  CORBA::Object_var prototype_of(const std::string& path);
  CORBA::OctetSeq id_of(const std::string& path) const;
  template <typename Interface>
  typename Interface::_var_type resolve(const char* name) const;

  CORBA::ORB_ptr m_orb;
  const TestServerOptions& m_options;
  PortableServer::POA_var m_root;
  std::mutex m_mutex;
  std::set<std::string> m_paths;  // guarded by m_mutex
  bool m_has_activator = false;
};
