// What an import has collected so far.
#pragma once

#include <cstdio>
#include <memory>
#include <qz_imr_internal.hh>
#include <vector>

#include "platform/orb/ref_counted_local_object.h"

namespace poalocd {

// POAs, of which there may be very many, lie in a temporary file. Used by one thread at a time.
class ImportEntries : public virtual QZ_IMRInternal::POAEntrySource, public QZ_CORBA::RefCountedLocalObject {
 public:
  // NO_RESOURCES when there can be no temporary file.
  ImportEntries();

  // NO_RESOURCES when the file cannot take it; IMP_LIMIT for more than MAX_HOST_ENTRIES processes and ORBs.
  void add(const QZ_IMRAdmin::RepositoryPart& part);
  CORBA::ULongLong size() const { return m_number_of_poas + m_processes.size() + m_orbs.size(); }

  const std::vector<QZ_IMRAdmin::ProcessInfo>& processes() const { return m_processes; }
  const std::vector<QZ_LocationCommon::ORBInfo>& orbs() const { return m_orbs; }
  void rewind() override;
  CORBA::Boolean next(QZ_IMRAdmin::POAEntry_out entry) override;

  static constexpr std::size_t MAX_HOST_ENTRIES = 100'000;

 private:
  struct Close {
    void operator()(std::FILE* file) const { std::fclose(file); }
  };

  void write(const QZ_IMRAdmin::POAEntry& entry);

  const std::unique_ptr<std::FILE, Close> m_poas;  // each one's size and its encoded form
  CORBA::ULongLong m_number_of_poas = 0;
  CORBA::ULongLong m_read = 0;
  std::vector<QZ_IMRAdmin::ProcessInfo> m_processes;
  std::vector<QZ_LocationCommon::ORBInfo> m_orbs;
};

}  // namespace poalocd
