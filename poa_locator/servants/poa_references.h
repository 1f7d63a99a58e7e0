#pragma once

#include <poa_imr_admin.hh>

#include "platform/base/qz_vector.h"
#include "poa_locator/imr/endpoint.h"

// The administration objects of the entries, in their order. The caller deletes the list.
QZ_POAIMRAdmin::POAList* external_references(const QZ_Vector<Endpoint>& endpoints);
