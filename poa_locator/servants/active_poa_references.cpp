#include "poa_locator/servants/active_poa_references.h"

QZ_POALocatorAdmin::ActivePOAList* external_references(const QZ_Vector<ActiveEndpoint>& endpoints) {
  QZ_POALocatorAdmin::ActivePOAList_var list = new QZ_POALocatorAdmin::ActivePOAList;
  list->length(static_cast<CORBA::ULong>(endpoints.size()));
  CORBA::ULong i = 0;
  for (const ActiveEndpoint& endpoint : endpoints) list[i++] = endpoint.external_reference();
  return list._retn();
}
