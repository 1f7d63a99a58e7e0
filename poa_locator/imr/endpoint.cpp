#include "poa_locator/imr/endpoint.h"

#include "platform/pss/transaction_guard.h"
#include "platform/pss/tx_session_association.h"
#include "poa_locator/imr/endpoint_id_utils.h"
#include "poa_locator/imr/endpoint_registry.h"
#include "poa_locator/plugin/event_report.h"
#include "poa_locator/plugin/poa_loc_event_msg.h"

using QZ_PoaImrStore::NamespaceData;
using QZ_PoaImrStore::NamespaceDataRef;
using QZ_PoaImrStore::NamespaceHome;

namespace {

constexpr CORBA::ULong MINOR_NO_ENTRY = 0x515A0C00;
constexpr CORBA::ULong MINOR_ADD_FAILED = 0x515A0C00;

[[noreturn]] void raise_no_entry() {
  throw CORBA::OBJECT_NOT_EXIST(MINOR_NO_ENTRY, CORBA::COMPLETED_NO);
}

NamespaceDataRef existing(const NamespaceHome& home, const CORBA::OctetSeq& id) {
  const NamespaceDataRef data = home.find_if_any(id);
  if (data.is_nil()) raise_no_entry();
  return data;
}

void report_removal(const EndpointRegistry& registry, const CORBA::OctetSeq& id, const NamespaceData& data) {
  const QZ_String name = EndpointIdUtils::id_to_fqpn_string(id);
  if (data.persistent()) {
    report(registry.event_log_nc(), POALocEvent::ENDPOINT_REMOVE, QZ_Logging::INFORMATION, ENDPOINT_REMOVE_MSG,
           {name.c_str(), data.orb().c_str()});
  } else {
    report(registry.event_log_nc(), POALocEvent::NAMESPACE_REMOVE, QZ_Logging::INFORMATION, NAMESPACE_REMOVE_MSG,
           {name.c_str()});
  }
}

void report_creation(const EndpointRegistry& registry, const QZ_String& name, bool persistent, const char* orb_name) {
  if (persistent) {
    report(registry.event_log_nc(), POALocEvent::ENDPOINT_CREATE, QZ_Logging::INFORMATION, ENDPOINT_CREATE_MSG,
           {name.c_str(), orb_name});
  } else {
    report(registry.event_log_nc(), POALocEvent::NAMESPACE_CREATE, QZ_Logging::INFORMATION, NAMESPACE_CREATE_MSG,
           {name.c_str()});
  }
}

}  // namespace

template <class Work>
auto Endpoint::read(Work&& work) const {
  QZ_PSS::TxSessionAssociation association(body().registry().session_manager_nc(), QZ_PSS::READ_ONLY);
  return work(impl_persistent_data(association).deref());
}

template <class Work>
void Endpoint::write(Work&& work) const {
  const EndpointRegistry& registry = body().registry();
  QZ_PSS::in_transaction(
      registry.tx_current_nc(), registry.session_manager_nc(),
      [&](QZ_PSS::TxSessionAssociation& association) { work(impl_persistent_data(association).deref()); });
}

Endpoint::Endpoint(EndpointRegistry& registry, const CORBA::OctetSeq& id) : QZ_Handle(new EndpointRep(registry, id)) {}

Endpoint::Endpoint(EndpointRegistry& registry, const NamespaceData& data) : Endpoint(registry, data.ep_id()) {}

const CORBA::OctetSeq& Endpoint::id() const {
  return body().id();
}

QZ_POAIMRAdmin::FullyQualifiedName* Endpoint::full_name() const {
  return EndpointIdUtils::id_to_fqpn(id());
}

QZ_String Endpoint::name() const {
  return read([](const NamespaceData& data) { return data.name(); });
}

bool Endpoint::persistent() const {
  return read([](const NamespaceData& data) { return data.persistent(); });
}

bool Endpoint::allow_dynamic_registration() const {
  return read([](const NamespaceData& data) { return data.allow_dynamic_registration(); });
}

void Endpoint::allow_dynamic_registration(bool allow) {
  write([&](NamespaceData& data) { data.allow_dynamic_registration(allow); });
}

QZ_String Endpoint::orb_name() const {
  return read([](const NamespaceData& data) { return data.orb(); });
}

void Endpoint::orb_name(const char* name) {
  write([&](NamespaceData& data) { data.orb(name ? name : ""); });
}

CORBA::ULong Endpoint::creation_seq_nbr() const {
  return read([](const NamespaceData& data) { return data.creation_seq_nbr(); });
}

void Endpoint::creation_seq_nbr(CORBA::ULong number) {
  write([&](NamespaceData& data) { data.creation_seq_nbr(number); });
}

Endpoint Endpoint::parent() const {
  return read([this](const NamespaceData& data) {
    const NamespaceDataRef parent = data.parent();
    if (parent.is_nil()) raise_no_entry();
    return Endpoint(body().registry(), parent.deref());
  });
}

QZ_Vector<Endpoint> Endpoint::children() const {
  EndpointRegistry& registry = body().registry();
  QZ_RecursiveMutexLock lock(registry.mutex());
  QZ_PSS::TxSessionAssociation association(registry.session_manager_nc(), QZ_PSS::READ_ONLY);
  const NamespaceHome& home = impl_home(association);
  const auto ids = impl_persistent_data(association)->children();
  QZ_Vector<Endpoint> result;
  result.reserve(ids.length());
  for (CORBA::ULong i = 0; i < ids.length(); ++i) {
    // Removals do not take the mutex in every case, so a child may have gone since the list was read.
    const NamespaceDataRef child = home.find_if_any(ids[i]);
    if (!child.is_nil()) result.emplace_back(registry, child.deref());
  }
  return result;
}

Endpoint Endpoint::lookup(const char* name) const {
  if (is_null()) return Endpoint();
  EndpointRegistry& registry = body().registry();
  QZ_RecursiveMutexLock lock(registry.mutex());
  const CORBA::OctetSeq_var child = EndpointIdUtils::child_id(id(), name);
  return registry.find(child.in());
}

Endpoint Endpoint::add(const char* name, bool persistent, bool allow_dynamic_registration, const char* orb_name,
                       QZ_PSS::Durable durable) const {
  EndpointRegistry& registry = body().registry();
  QZ_RecursiveMutexLock lock(registry.mutex());
  const CORBA::OctetSeq_var child = EndpointIdUtils::child_id(id(), name);
  const QZ_String child_name = EndpointIdUtils::id_to_fqpn_string(child);
  const auto create = [&](QZ_PSS::TxSessionAssociation& association) {
    NamespaceHome& home = impl_home(association);
    const NamespaceDataRef data = impl_persistent_data(association);
    if (!home.find_if_any(child).is_nil()) {
      const QZ_POAIMRAdmin::FullyQualifiedName_var full_name = EndpointIdUtils::id_to_fqpn(child);
      throw QZ_POAIMRAdmin::POAAlreadyRegistered(full_name);
    }
    if (persistent) {
      home.create_persistent(child, name, data, allow_dynamic_registration, orb_name);
    } else {
      home.create_transient(child, name, data, allow_dynamic_registration);
    }
    association.session().flush();
    data->append_child(child);
    report_creation(registry, child_name, persistent, orb_name);
  };
  try {
    QZ_PSS::in_transaction(registry.tx_current_nc(), registry.session_manager_nc(), create, durable);
  } catch (const CORBA::SystemException&) {
    report(registry.event_log_nc(), POALocEvent::ENDPOINT_ADD_INTERNAL, QZ_Logging::ERROR_PRIORITY,
           ENDPOINT_ADD_INTERNAL_MSG, {child_name.c_str()});
    throw CORBA::INTERNAL(MINOR_ADD_FAILED, CORBA::COMPLETED_NO);
  }
  return Endpoint(registry, child);
}

void Endpoint::destroy() {
  body().registry().remove(*this);
}

void Endpoint::destroy_persistent_data() {
  EndpointRegistry& registry = body().registry();
  QZ_PSS::in_transaction(registry.tx_current_nc(), registry.session_manager_nc(),
                         [&](QZ_PSS::TxSessionAssociation& association) {
                           impl_remove_from_parent(impl_persistent_data(association));
                           impl_destroy(registry, id(), impl_home(association));
                         });
}

QZ_POAIMRAdmin::POA_ptr Endpoint::external_reference() const {
  if (is_null()) return QZ_POAIMRAdmin::POA::_nil();
  const CORBA::OctetSeq& octets = id();
  const PortableServer::ObjectId object_id(octets.length(), octets.length(),
                                           const_cast<CORBA::Octet*>(octets.get_buffer()), false);
  const CORBA::Object_var object =
      body().registry().endpoint_poa_nc()->create_reference_with_id(object_id, QZ_POAIMRAdmin::POA::_PD_repoId);
  return QZ_POAIMRAdmin::POA::_narrow(object);
}

NamespaceHome& Endpoint::impl_home(QZ_PSS::TxSessionAssociation& association) const {
  return body().registry().home(association);
}

NamespaceDataRef Endpoint::impl_persistent_data(QZ_PSS::TxSessionAssociation& association) const {
  return existing(impl_home(association), id());
}

void Endpoint::impl_remove_from_parent(const NamespaceDataRef& data) const {
  const NamespaceDataRef parent = data->parent();
  if (!parent.is_nil()) parent->remove_child(data->ep_id());
}

// Walks the tree with a path of its own rather than by recursion: how deep it is, is up to those who register.
void Endpoint::impl_destroy(EndpointRegistry& registry, const CORBA::OctetSeq& id, NamespaceHome& home) {
  struct Level {
    CORBA::OctetSeq id;
    NamespaceDataRef data;
    QZ_POA_PersistentServer::EndpointIdList children;
    CORBA::ULong next_child = 0;
  };
  const auto level_of = [&](const CORBA::OctetSeq& of) {
    const NamespaceDataRef data = existing(home, of);
    return Level{of, data, data->children()};
  };
  QZ_Vector<Level> path{level_of(id)};
  while (!path.empty()) {
    Level& level = path.back();
    if (level.next_child < level.children.length()) {
      path.push_back(level_of(level.children[level.next_child++]));
      continue;
    }
    report_removal(registry, level.id, level.data.deref());
    level.data->destroy_object();
    path.pop_back();
  }
}

EndpointRep& Endpoint::body() const {
  if (is_null()) raise_no_entry();
  return **this;
}
