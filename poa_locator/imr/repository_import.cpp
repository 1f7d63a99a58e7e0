#include "poa_locator/imr/repository_import.h"

#include "poa_locator/imr/endpoint_id_utils.h"
#include "poa_locator/imr/endpoint_registry.h"

namespace {

constexpr CORBA::ULong MINOR_CANCELLED = 0x515A0C05;

std::string octets_of(const CORBA::OctetSeq& id) {
  return {reinterpret_cast<const char*>(id.get_buffer()), id.length()};
}

}  // namespace

QZ_IMRInternal::ImportCounts RepositoryImport::run(QZ_IMRInternal::POAEntrySource_ptr entries, bool write) {
  QZ_PSS::TxSessionAssociation association(m_registry.session_manager_nc(),
                                           write ? QZ_PSS::READ_WRITE : QZ_PSS::READ_ONLY);
  m_home = &m_registry.home(association);
  m_write = write;
  entries->rewind();
  QZ_IMRAdmin::POAEntry_var entry;
  while (entries->next(entry.out())) {
    take(entry);
    if (!m_listener->entry_done()) throw CORBA::INTERNAL(MINOR_CANCELLED, CORBA::COMPLETED_NO);
  }
  m_parent = QZ_PoaImrStore::NamespaceDataRef();
  return m_counts;
}

void RepositoryImport::take(const Entry& entry) {
  if (const std::string reason = flaw(entry); !reason.empty()) return problem(entry, reason);
  const CORBA::OctetSeq_var id = EndpointIdUtils::id_from_fqpn(entry.name);
  if (!m_write && !m_seen.insert(octets_of(id)).second) return problem(entry, "is there twice");
  const QZ_PoaImrStore::NamespaceDataRef data = m_home->find_if_any(id);
  if (!data.is_nil()) {
    update(data, entry);
  } else if (find_parent(id)) {
    create(id, entry);
  } else {
    problem(entry, "has no parent: the POA above it is neither in the repository nor before it");
  }
}

std::string RepositoryImport::flaw(const Entry& entry) const {
  for (CORBA::ULong i = 0; i < entry.name.length(); ++i)
    if (*entry.name[i] == 0) return "has a part of its name that is empty";
  if (entry.name.length() == 0 && entry.persistent) return "is the root and persistent";
  return {};
}

void RepositoryImport::update(const QZ_PoaImrStore::NamespaceDataRef& data, const Entry& entry) {
  if (data->persistent() != bool{entry.persistent})
    return problem(entry, entry.persistent ? "is a namespace in the repository, which cannot become a POA"
                                           : "is a POA in the repository, which cannot become a namespace");
  const bool same = data->allow_dynamic_registration() == bool{entry.allow_dynamic_registration} &&
                    data->orb() == entry.orb_name.in();
  if (same) return;
  const bool root = entry.name.length() == 0;
  if (m_mode == QZ_IMRAdmin::IMPORT_ADD && !root) return problem(entry, "exists already with other settings");
  ++m_counts.changed;
  if (!m_write) return;
  data->allow_dynamic_registration(entry.allow_dynamic_registration);
  data->orb(entry.orb_name);
}

bool RepositoryImport::find_parent(const CORBA::OctetSeq& id) {
  const CORBA::OctetSeq_var parent_id = EndpointIdUtils::parent_id(id);
  if (!parent_id.operator->()) return false;
  std::string octets = octets_of(parent_id);
  if (octets == m_parent_id) return true;
  if (!m_write && m_seen.count(octets) != 0) return true;
  m_parent = m_home->find_if_any(parent_id);
  if (m_parent.is_nil()) return false;
  m_parent_id = std::move(octets);
  return true;
}

void RepositoryImport::create(const CORBA::OctetSeq& id, const Entry& entry) {
  ++m_counts.added;
  if (!m_write) return;
  const char* const name = entry.name[entry.name.length() - 1];
  if (entry.persistent) {
    m_home->create_persistent(id, name, m_parent, entry.allow_dynamic_registration, entry.orb_name);
  } else {
    const auto data = m_home->create_transient(id, name, m_parent, entry.allow_dynamic_registration);
    // One that names an ORB has been given it afterwards, which the administration allows.
    if (*entry.orb_name) data->orb(entry.orb_name);
  }
  m_parent->append_child(id);
}

void RepositoryImport::problem(const Entry& entry, const std::string& reason) {
  const QZ_String name = EndpointIdUtils::fqpn_to_string(entry.name, '/');
  m_listener->problem(("POA " + (entry.name.length() == 0 ? QZ_String("/") : name)).c_str(), reason.c_str());
}
