// Endpoint identifiers: the octets that name one POA, and conversions between them, POA names and printable texts.
//
// An identifier is an object key of three segments, framed by the binding manager: the 2-octet format marker, the
// domain name, and the POA names from the outermost down, each followed by a NUL. The root POA has no names.
// A name must not contain a NUL.
//
// init() runs once, before any other operation and before the plug-in has a second thread. All else only reads and is
// safe from any thread. Identifiers may come from anywhere: one that is not a key of three segments raises the
// binding manager's INV_OBJREF. New sequences belong to the caller.
#pragma once

#include <poa_imr_admin.hh>
#include <qz_binding.hh>

#include "platform/base/qz_string.h"

class EndpointIdUtils {
 public:
  EndpointIdUtils() = delete;

  // Resolves the binding manager at the first call. The first non-empty domain stays; later ones are ignored.
  static void init(CORBA::ORB_ptr orb, const char* domain);

  // Not duplicated.
  static QZ_Binding::BindingManager_ptr binding_manager() { return m_binding_manager; }
  static const char* domain_name() { return m_domain_name.c_str(); }

  static CORBA::OctetSeq* id_from_fqpn(const QZ_POAIMRAdmin::FullyQualifiedName& fqpn);
  // Octets after the last NUL are no name; a single empty name reads as the root.
  static QZ_POAIMRAdmin::FullyQualifiedName* id_to_fqpn(const CORBA::OctetSeq& id);
  static QZ_POAIMRAdmin::FullyQualifiedName* id_to_fqpn(const PortableServer::ObjectId& id);
  static QZ_POAIMRAdmin::FullyQualifiedName* id_to_external_fqpn(const CORBA::OctetSeq& id);

  // The names joined by "/", not escaped. The last character is a NUL unless the id is the root's, whose text is
  // empty: show it through c_str().
  static QZ_String id_to_fqpn_string(const CORBA::OctetSeq& id);
  // One character for each octet; "*" stands for one that is not printable ASCII.
  static QZ_String id_to_string(const CORBA::OctetSeq& id);
  // Lower-case hexadecimal, two digits for each octet.
  static QZ_String id_to_octet_string(const CORBA::OctetSeq& id);

  // Always in this locator's domain. Null for the root.
  static CORBA::OctetSeq* parent_id(const CORBA::OctetSeq& id);
  static CORBA::OctetSeq* child_id(const CORBA::OctetSeq& parent, const char* name);

  static QZ_String fqpn_to_string(const QZ_POAIMRAdmin::FullyQualifiedName& fqpn, char separator);
  // Each name keeps its own trailing separator: "a/b" gives "a/" and "b/".
  static QZ_POAIMRAdmin::FullyQualifiedName* fqpn_from_string(const char* text, char separator);

  // True when the ids have the same length and differ somewhere, false otherwise. Kept with this sense on purpose.
  static bool equal(const CORBA::OctetSeq& a, const CORBA::OctetSeq& b);

 private:
  // The octets of the segment that holds the names.
  static QZ_String names_of(const CORBA::OctetSeq& id);

  static QZ_Binding::BindingManager_var m_binding_manager;
  static QZ_String m_domain_name;
};
