// What the tests of active endpoints share.
#pragma once

#include <gmock/gmock.h>

#include "tests/unit/poa_locator/active_fixture.h"

// The minor code of the exception that the work raises; it must be completed by NO.
template <class Exception, class Work>
CORBA::ULong minor_of(Work&& work) {
  try {
    work();
  } catch (const Exception& ex) {
    EXPECT_EQ(ex.completed(), CORBA::COMPLETED_NO);
    return ex.minor();
  }
  ADD_FAILURE() << "no exception";
  return 0;
}

class ActiveEndpointTest : public ActiveFixture {
 protected:
  const Names m_bank{"Bank"};

  QZ_IOR::IOR_var ior_of(const Names& names) {
    return host().binding_manager().object_to_ior(prototype(server_key(names)));
  }
  // In the table, and not activated.
  ActiveEndpoint idle_endpoint(const Names& names, const char* orb_name = "orb") {
    return endpoints().create(core(), *id_of(names), orb_name);
  }
  // Whether requests for the POA reach no interceptor.
  bool front_door_forwards(const Names& names) {
    const std::string key = key_of(names);
    return host().binding_manager().with_forward({reinterpret_cast<const unsigned char*>(key.data()), key.size()},
                                                 [](auto&&...) {});
  }
  void run(ActiveEndpoint& endpoint, const Names& names) { endpoint.set_dynamic_state(make_state(), ior_of(names)); }
};
