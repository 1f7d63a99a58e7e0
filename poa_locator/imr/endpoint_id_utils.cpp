#include "poa_locator/imr/endpoint_id_utils.h"

#include <algorithm>
#include <cstring>

#include <poa_persistent_server.hh>

#include "platform/orb/initial_reference.h"

namespace {

constexpr CORBA::ULong INITIAL_KEY_CAPACITY = 1024;
constexpr CORBA::ULong FORMAT_LENGTH = 2;
constexpr CORBA::ULong NAMES_SEGMENT = 2;

// Octets of a text without copying them; only for reading.
CORBA::OctetSeq view(const char* octets, std::size_t length) {
  const auto count = static_cast<CORBA::ULong>(length);
  return CORBA::OctetSeq(count, count, reinterpret_cast<CORBA::Octet*>(const_cast<char*>(octets)), false);
}

void append(QZ_POAIMRAdmin::FullyQualifiedName& fqpn, const QZ_String& name) {
  const CORBA::ULong length = fqpn.length();
  fqpn.length(length + 1);
  fqpn[length] = name.c_str();
}

bool is_printable(CORBA::Octet octet) {
  return octet >= 0x20 && octet < 0x7F;
}

}  // namespace

QZ_Binding::BindingManager_var EndpointIdUtils::m_binding_manager;
QZ_String EndpointIdUtils::m_domain_name;

void EndpointIdUtils::init(CORBA::ORB_ptr orb, const char* domain) {
  if (CORBA::is_nil(m_binding_manager)) {
    m_binding_manager = initial_reference<QZ_Binding::BindingManager>(orb, "QZ_BindingManager");
  }
  if (m_domain_name.empty()) m_domain_name = domain;
}

CORBA::OctetSeq* EndpointIdUtils::id_from_fqpn(const QZ_POAIMRAdmin::FullyQualifiedName& fqpn) {
  QZ_String names;
  for (CORBA::ULong i = 0; i < fqpn.length(); ++i) {
    names += fqpn[i].in();
    names += '\0';
  }
  CORBA::OctetSeq_var key = new CORBA::OctetSeq(INITIAL_KEY_CAPACITY);
  m_binding_manager->start_key(key.inout());
  m_binding_manager->append_segment(key.inout(),
                                    view(QZ_POA_PersistentServer::PERSISTENT_ENDPOINT_FORMAT, FORMAT_LENGTH));
  m_binding_manager->append_segment(key.inout(), view(m_domain_name.data(), m_domain_name.size()));
  m_binding_manager->append_segment(key.inout(), view(names.data(), names.size()));
  return key._retn();
}

QZ_POAIMRAdmin::FullyQualifiedName* EndpointIdUtils::id_to_fqpn(const CORBA::OctetSeq& id) {
  const QZ_String names = names_of(id);
  QZ_POAIMRAdmin::FullyQualifiedName_var fqpn = new QZ_POAIMRAdmin::FullyQualifiedName;
  if (names.size() == 1) return fqpn._retn();
  fqpn->length(static_cast<CORBA::ULong>(std::count(names.begin(), names.end(), '\0')));
  const char* name = names.data();
  for (CORBA::ULong i = 0; i < fqpn->length(); ++i) {
    fqpn[i] = name;
    name += std::strlen(name) + 1;
  }
  return fqpn._retn();
}

QZ_POAIMRAdmin::FullyQualifiedName* EndpointIdUtils::id_to_fqpn(const PortableServer::ObjectId& id) {
  const auto* octets = reinterpret_cast<const char*>(id.get_buffer());
  return id_to_fqpn(view(octets, id.length()));
}

QZ_POAIMRAdmin::FullyQualifiedName* EndpointIdUtils::id_to_external_fqpn(const CORBA::OctetSeq& id) {
  return id_to_fqpn(id);
}

QZ_String EndpointIdUtils::id_to_fqpn_string(const CORBA::OctetSeq& id) {
  QZ_String text = names_of(id);
  if (text.empty()) return text;
  std::size_t last = 0;
  for (std::size_t at = text.find('\0'); at != QZ_String::npos; at = text.find('\0', at)) text[last = at] = '/';
  text[last] = '\0';
  return text;
}

QZ_String EndpointIdUtils::id_to_string(const CORBA::OctetSeq& id) {
  QZ_String text;
  text.reserve(id.length());
  for (CORBA::ULong i = 0; i < id.length(); ++i) text += is_printable(id[i]) ? static_cast<char>(id[i]) : '*';
  return text;
}

QZ_String EndpointIdUtils::id_to_octet_string(const CORBA::OctetSeq& id) {
  static const char digits[] = "0123456789abcdef";
  QZ_String text;
  text.reserve(2 * std::size_t{id.length()});
  for (CORBA::ULong i = 0; i < id.length(); ++i) {
    text += digits[id[i] >> 4];
    text += digits[id[i] & 0xF];
  }
  return text;
}

CORBA::OctetSeq* EndpointIdUtils::parent_id(const CORBA::OctetSeq& id) {
  QZ_POAIMRAdmin::FullyQualifiedName_var fqpn = id_to_fqpn(id);
  if (fqpn->length() == 0) return nullptr;
  fqpn->length(fqpn->length() - 1);
  return id_from_fqpn(fqpn);
}

CORBA::OctetSeq* EndpointIdUtils::child_id(const CORBA::OctetSeq& parent, const char* name) {
  QZ_POAIMRAdmin::FullyQualifiedName_var fqpn = id_to_fqpn(parent);
  append(fqpn, name);
  return id_from_fqpn(fqpn);
}

QZ_String EndpointIdUtils::fqpn_to_string(const QZ_POAIMRAdmin::FullyQualifiedName& fqpn, char separator) {
  QZ_String text;
  for (CORBA::ULong i = 0; i < fqpn.length(); ++i) {
    if (i != 0) text += separator;
    text += fqpn[i].in();
  }
  return text;
}

QZ_POAIMRAdmin::FullyQualifiedName* EndpointIdUtils::fqpn_from_string(const char* text, char separator) {
  QZ_POAIMRAdmin::FullyQualifiedName_var fqpn = new QZ_POAIMRAdmin::FullyQualifiedName;
  QZ_String rest = text;
  if (rest.empty()) return fqpn._retn();
  if (rest.back() != separator) rest += separator;
  std::size_t begin = 0;
  for (std::size_t at = rest.find(separator); at != QZ_String::npos; at = rest.find(separator, begin)) {
    append(fqpn, rest.substr(begin, at + 1 - begin));
    begin = at + 1;
  }
  return fqpn._retn();
}

bool EndpointIdUtils::equal(const CORBA::OctetSeq& a, const CORBA::OctetSeq& b) {
  if (a.length() != b.length()) return false;
  for (CORBA::ULong i = 0; i < a.length(); ++i) {
    if (a[i] != b[i]) return true;
  }
  return false;
}

QZ_String EndpointIdUtils::names_of(const CORBA::OctetSeq& id) {
  CORBA::ULong offset = 0;
  CORBA::ULong length = 0;
  m_binding_manager->segment(id, NAMES_SEGMENT, offset, length);
  return QZ_String(reinterpret_cast<const char*>(id.get_buffer()) + offset, length);
}
