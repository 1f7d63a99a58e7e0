// Short ways to make and to read POA names and endpoint ids in tests.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "poa_locator/imr/endpoint_id_utils.h"

inline std::vector<std::string> texts(const QZ_POAIMRAdmin::FullyQualifiedName& fqpn) {
  std::vector<std::string> names;
  for (CORBA::ULong i = 0; i < fqpn.length(); ++i) names.emplace_back(fqpn[i].in());
  return names;
}

inline std::unique_ptr<QZ_POAIMRAdmin::FullyQualifiedName> fqpn_of(const std::vector<std::string>& names) {
  auto fqpn = std::make_unique<QZ_POAIMRAdmin::FullyQualifiedName>();
  fqpn->length(static_cast<CORBA::ULong>(names.size()));
  for (CORBA::ULong i = 0; i < names.size(); ++i) (*fqpn)[i] = names[i].c_str();
  return fqpn;
}

inline std::unique_ptr<CORBA::OctetSeq> id_of(const std::vector<std::string>& names) {
  return std::unique_ptr<CORBA::OctetSeq>(EndpointIdUtils::id_from_fqpn(*fqpn_of(names)));
}

inline std::vector<std::string> names_of(const CORBA::OctetSeq& id) {
  const QZ_POAIMRAdmin::FullyQualifiedName_var fqpn = EndpointIdUtils::id_to_fqpn(id);
  return texts(fqpn);
}

inline std::string octets(const CORBA::OctetSeq& seq) {
  return std::string(reinterpret_cast<const char*>(seq.get_buffer()), seq.length());
}

inline CORBA::OctetSeq octet_seq(const std::string& text) {
  CORBA::OctetSeq seq(static_cast<CORBA::ULong>(text.size()));
  seq.length(static_cast<CORBA::ULong>(text.size()));
  for (CORBA::ULong i = 0; i < text.size(); ++i) seq[i] = static_cast<CORBA::Octet>(text[i]);
  return seq;
}

inline std::string segment_of(const CORBA::OctetSeq& id, CORBA::ULong index) {
  CORBA::ULong offset = 0;
  CORBA::ULong length = 0;
  EndpointIdUtils::binding_manager()->segment(id, index, offset, length);
  return octets(id).substr(offset, length);
}

// An id whose names segment is exactly these octets.
inline std::unique_ptr<CORBA::OctetSeq> raw_id(const std::string& names_segment) {
  auto key = std::make_unique<CORBA::OctetSeq>();
  auto* manager = EndpointIdUtils::binding_manager();
  manager->start_key(*key);
  for (const std::string& segment : {std::string("QP"), std::string(EndpointIdUtils::domain_name()), names_segment}) {
    manager->append_segment(*key, octet_seq(segment));
  }
  return key;
}
