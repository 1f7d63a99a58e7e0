// Serves the repository as a whole.
#pragma once

#include <qz_imr_admin.hh>

#include "daemon/admin/repository_import_admin.h"
#include "daemon/imr_impl.h"

namespace poalocd {

// Safe from any thread.
class RepositoryAdmin : public AdminServant<POA_QZ_IMRAdmin::Repository, QZ_IMRAdmin::Repository> {
 public:
  // one: serves the imports.
  RepositoryAdmin(CORBA::ORB_ptr orb, PortableServer::POA_ptr parent, ImrImpl& imr, Imports& imports,
                  const RepositoryImportAdmin& one)
      : AdminServant(orb, parent), m_imr(imr), m_imports(imports), m_one(one) {}

  QZ_IMRAdmin::POAEntryList* list_poas(const char* from, CORBA::ULong how_many, CORBA::String_out next) override;
  QZ_IMRAdmin::RepositoryImport_ptr start_import() override { return m_one.reference(m_imports.start()); }

 private:
  ImrImpl& m_imr;
  Imports& m_imports;
  const RepositoryImportAdmin& m_one;
};

}  // namespace poalocd
