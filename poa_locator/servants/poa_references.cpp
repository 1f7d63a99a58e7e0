#include "poa_locator/servants/poa_references.h"

QZ_POAIMRAdmin::POAList* external_references(const QZ_Vector<Endpoint>& endpoints) {
  QZ_POAIMRAdmin::POAList_var list = new QZ_POAIMRAdmin::POAList;
  list->length(static_cast<CORBA::ULong>(endpoints.size()));
  for (CORBA::ULong i = 0; i < list->length(); ++i) list[i] = endpoints[i].external_reference();
  return list._retn();
}
