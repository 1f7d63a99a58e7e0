#include "daemon/admin/repository_admin.h"

namespace poalocd {

QZ_IMRAdmin::POAEntryList* RepositoryAdmin::list_poas(const char* from, CORBA::ULong how_many, CORBA::String_out next) {
  const QZ_IMRInternal::POARepository_var repository = m_imr.poa_repository();
  if (CORBA::is_nil(repository)) throw CORBA::NO_IMPLEMENT(0, CORBA::COMPLETED_NO);
  return repository->list(from, how_many, next);
}

}  // namespace poalocd
