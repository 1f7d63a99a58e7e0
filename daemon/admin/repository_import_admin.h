// Serves all imports into the repository. An object's id is its import's.
#pragma once

#include <qz_imr_admin.hh>

#include "daemon/admin/admin_servant.h"
#include "daemon/admin/imports.h"

namespace poalocd {

// Safe from any thread. Of an import that is forgotten every operation raises OBJECT_NOT_EXIST.
class RepositoryImportAdmin : public AdminServant<POA_QZ_IMRAdmin::RepositoryImport, QZ_IMRAdmin::RepositoryImport> {
 public:
  RepositoryImportAdmin(CORBA::ORB_ptr orb, PortableServer::POA_ptr parent, Imports& imports)
      : AdminServant(orb, parent), m_imports(imports) {}

  void add(const QZ_IMRAdmin::RepositoryPart& part) override { import()->add(part); }
  void commit(QZ_IMRAdmin::ImportMode mode, CORBA::Boolean check_only) override { import()->commit(mode, check_only); }
  QZ_IMRAdmin::ImportProgress* progress() override { return new QZ_IMRAdmin::ImportProgress(import()->progress()); }
  QZ_IMRAdmin::ImportProblemList* problems() override {
    return new QZ_IMRAdmin::ImportProblemList(import()->problems());
  }
  void destroy() override { m_imports.destroy(object_id()); }

 private:
  // That of the request being served.
  std::shared_ptr<Import> import() { return m_imports.find(object_id()); }

  Imports& m_imports;
};

}  // namespace poalocd
