#include "poa_locator/locator/restored_endpoint.h"

RestoredEndpoint::RestoredEndpoint(POALocatorImpl& locator, const QZ_PoaLocatorStore::ActiveEndpointData& data)
    : body(new ActiveEndpointRep(locator, data.id())), orb_name(data.orb()) {
  const QZ_IOR::IOR_var ior = data.proto_direct_ior().ior();
  QZ_IOR::IOREndpoint_var ior_endpoint;
  if (!CORBA::is_nil(ior)) {
    CORBA::OctetSeq_var key;
    ior_endpoint = ior->split(key.out());
  }
  body->requests.publish(data.remote_endpoint(), ior_endpoint);
}
