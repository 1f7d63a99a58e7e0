// How far an import is, for those who ask and the thread that does it.
#pragma once

#include <qz_imr_internal.hh>
#include <string>

#include "platform/base/qz_mutex.h"
#include "platform/orb/ref_counted_local_object.h"

namespace poalocd {

// Safe from any thread.
class ImportState : public virtual QZ_IMRInternal::ImportListener, public QZ_CORBA::RefCountedLocalObject {
 public:
  CORBA::Boolean entry_done() override;
  void problem(const char* entry, const char* reason) override;

  // From collecting to checking, or from there to writing. Done entries and problems are counted anew.
  void begin(QZ_IMRAdmin::ImportPhase phase, CORBA::ULongLong entries);
  // Ends as IMPORT_DONE, or as IMPORT_REFUSED when there is a problem.
  void end(const QZ_IMRInternal::ImportCounts& counts);
  // Ends as IMPORT_FAILED. Nothing when it has ended.
  void fail(const std::string& reason);
  // Entries are refused from now on.
  void cancel();

  bool cancelled() const;
  bool has_problems() const;
  QZ_IMRAdmin::ImportPhase phase() const;
  QZ_IMRAdmin::ImportProgress progress() const;
  QZ_IMRAdmin::ImportProblemList problems() const;

 private:
  mutable QZ_Mutex m_mutex;
  QZ_IMRAdmin::ImportProgress m_progress GUARDED_BY(m_mutex) = start();
  QZ_IMRAdmin::ImportProblemList m_problems GUARDED_BY(m_mutex);  // the first ones
  bool m_cancelled GUARDED_BY(m_mutex) = false;

  static QZ_IMRAdmin::ImportProgress start();
};

}  // namespace poalocd
