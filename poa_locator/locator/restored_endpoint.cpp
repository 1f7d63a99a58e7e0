#include "poa_locator/locator/restored_endpoint.h"

RestoredEndpoint::RestoredEndpoint(const QZ_PoaLocatorStore::ActiveEndpointData& data) : id(data.id()) {
  const QZ_IOR::IOR_var ior = data.proto_direct_ior().ior();
  if (!CORBA::is_nil(ior)) {
    CORBA::OctetSeq_var key;
    ior_endpoint = ior->split(key.out());
  }
  dynamic_state = data.remote_endpoint();
  orb_name = data.orb();
}
