#include "daemon/admin/import_entries.h"

#include <omniORB4/cdrStream.h>

namespace poalocd {

namespace {

[[noreturn]] void raise_no_room() {
  throw CORBA::NO_RESOURCES(0, CORBA::COMPLETED_NO);
}

}  // namespace

ImportEntries::ImportEntries() : m_poas(std::tmpfile()) {
  if (!m_poas) raise_no_room();
}

void ImportEntries::add(const QZ_IMRAdmin::RepositoryPart& part) {
  const auto host_entries = m_processes.size() + m_orbs.size() + part.processes.length() + part.orbs.length();
  if (host_entries > MAX_HOST_ENTRIES) throw CORBA::IMP_LIMIT(0, CORBA::COMPLETED_NO);
  for (CORBA::ULong i = 0; i < part.poas.length(); ++i) write(part.poas[i]);
  for (CORBA::ULong i = 0; i < part.processes.length(); ++i) m_processes.push_back(part.processes[i]);
  for (CORBA::ULong i = 0; i < part.orbs.length(); ++i) m_orbs.push_back(part.orbs[i]);
}

void ImportEntries::write(const QZ_IMRAdmin::POAEntry& entry) {
  cdrMemoryStream encoded;
  entry >>= encoded;
  const CORBA::ULong size = encoded.bufSize();
  if (std::fwrite(&size, sizeof size, 1, m_poas.get()) != 1 ||
      std::fwrite(encoded.bufPtr(), 1, size, m_poas.get()) != size)
    raise_no_room();
  ++m_number_of_poas;
}

void ImportEntries::rewind() {
  if (std::fflush(m_poas.get()) != 0) raise_no_room();
  std::rewind(m_poas.get());
  m_read = 0;
}

CORBA::Boolean ImportEntries::next(QZ_IMRAdmin::POAEntry_out entry) {
  entry = new QZ_IMRAdmin::POAEntry;
  if (m_read == m_number_of_poas) return false;
  CORBA::ULong size = 0;
  if (std::fread(&size, sizeof size, 1, m_poas.get()) != 1) raise_no_room();
  std::vector<CORBA::Octet> octets(size);
  if (std::fread(octets.data(), 1, size, m_poas.get()) != size) raise_no_room();
  cdrMemoryStream encoded(octets.data(), octets.size());
  *entry.ptr() <<= encoded;
  ++m_read;
  return true;
}

}  // namespace poalocd
