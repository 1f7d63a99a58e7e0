#include "poa_locator/imr/repository_pages.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>

#include "platform/pss/statement.h"
#include "platform/pss/tx_session_association.h"
#include "poa_locator/idl/home_configuration.h"
#include "poa_locator/imr/endpoint_id_utils.h"
#include "poa_locator/imr/endpoint_registry.h"

namespace {

constexpr CORBA::ULong MAX_ENTRIES = 1000;
// Octets of a page, well below what any ORB takes as one message.
constexpr std::size_t MAX_SIZE = 256 * 1024;
constexpr std::size_t ENTRY_OVERHEAD = 32;

// False when the record is none of this domain's.
bool read_entry(const QZ_PoaImrStore::NamespaceDataRef& data, QZ_IMRAdmin::POAEntry& entry, std::size_t& size) {
  const CORBA::OctetSeq id = data->ep_id();
  const QZ_POAIMRAdmin::FullyQualifiedName_var name = EndpointIdUtils::id_to_fqpn(id);
  const CORBA::OctetSeq_var own_id = EndpointIdUtils::id_from_fqpn(name);
  if (own_id->length() != id.length() || std::memcmp(own_id->get_buffer(), id.get_buffer(), id.length()) != 0)
    return false;
  entry.name = name;
  entry.persistent = data->persistent();
  entry.allow_dynamic_registration = data->allow_dynamic_registration();
  entry.orb_name = data->orb().c_str();
  size += ENTRY_OVERHEAD + id.length() + 8 * name->length() + std::strlen(entry.orb_name);
  return true;
}

}  // namespace

QZ_IMRAdmin::POAEntryList* repository_page(EndpointRegistry& registry, const char* from, CORBA::ULong how_many,
                                           CORBA::String_out next) {
  const CORBA::ULong most = std::clamp<CORBA::ULong>(how_many, 1, MAX_ENTRIES);
  auto page = std::make_unique<QZ_IMRAdmin::POAEntryList>(most);
  CORBA::String_var last = CORBA::string_dup(from);
  QZ_PSS::TxSessionAssociation association(registry.session_manager_nc(), QZ_PSS::READ_ONLY);
  QZ_PSS::Statement statement(association.session());
  const auto rows = statement.execute(home_query(registry.home_type_id()), from);
  std::size_t size = 0;
  while (page->length() < most && size < MAX_SIZE) {
    if (!rows->next()) {
      last = CORBA::string_dup("");
      break;
    }
    const auto data = QZ_PoaImrStore::NamespaceDataRef::from_row(*rows);
    last = data.to_reference().pid;
    QZ_IMRAdmin::POAEntry entry;
    if (!read_entry(data, entry, size)) continue;
    page->length(page->length() + 1);
    (*page)[page->length() - 1] = entry;
  }
  next = last._retn();
  return page.release();
}

CORBA::ULongLong repository_size(EndpointRegistry& registry) {
  QZ_PSS::TxSessionAssociation association(registry.session_manager_nc(), QZ_PSS::READ_ONLY);
  const CORBA::ULongLong records = registry.home(association).number_of_records();
  return records == 0 ? 0 : records - 1;
}
