#pragma once

#include <poa_locator_admin.hh>

#include "platform/base/qz_vector.h"
#include "poa_locator/locator/active_endpoint.h"

// The administration objects of the endpoints, in their order. The caller deletes the list.
QZ_POALocatorAdmin::ActivePOAList* external_references(const QZ_Vector<ActiveEndpoint>& endpoints);
