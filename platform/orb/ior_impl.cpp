#include "platform/orb/ior_impl.h"

#include <utility>

#include "platform/orb/cdr_reader.h"
#include "platform/orb/iiop_profile.h"

namespace QZ_IOR {

namespace {

std::vector<unsigned char> copy(IORImpl::Octets octets) {
  return {octets.begin(), octets.end()};
}

Profile read_profile(QZ_CORBA::CdrReader& reader) {
  const std::uint32_t tag = reader.read_ulong();
  const auto body = reader.read_octet_seq();
  if (tag != TAG_INTERNET_IOP) return {tag, false, false, body, {}, {}};
  const IIOPProfile profile(body);
  return {tag, true, profile.little_endian(), profile.head(), profile.object_key(), profile.tail()};
}

}  // namespace

IORImpl::IORImpl(IOREndpointImpl& endpoint, const char* type_id, Octets remaining_key)
    : m_endpoint(&endpoint),
      m_type_id(type_id ? type_id : ""),
      m_remaining_key(remaining_key.begin(), remaining_key.end()) {
  m_endpoint->_qz_add_ref();
}

IORImpl::~IORImpl() {
  m_endpoint->_qz_remove_ref();
}

IORImpl* IORImpl::from_octets(Octets octets, bool little_endian) {
  std::string type_id;
  std::vector<unsigned char> profiles;
  try {
    QZ_CORBA::CdrReader reader(octets, little_endian);
    type_id = reader.read_string();
    for (std::uint32_t count = reader.read_ulong(); count > 0; --count)
      ProfileList::append(profiles, read_profile(reader));
  } catch (const QZ_CORBA::CdrError&) {
    throw CORBA::MARSHAL(0, CORBA::COMPLETED_NO);
  }
  if (profiles.empty()) throw CORBA::INV_OBJREF(0, CORBA::COMPLETED_NO);

  QZ_IOR::IOREndpoint_var owner;
  auto* endpoint = new IOREndpointImpl(std::move(profiles));
  owner = endpoint;
  return new IORImpl(*endpoint, type_id.c_str(), {});
}

char* IORImpl::type_id() {
  return CORBA::string_dup(m_type_id.c_str());
}

QZ_IOR::IOREndpoint_ptr IORImpl::split(CORBA::OctetSeq_out remaining_key) {
  if (!m_endpoint->profiles().first_keyed()) throw CORBA::INV_OBJREF(0, CORBA::COMPLETED_NO);
  CORBA::OctetSeq_var empty = new CORBA::OctetSeq;
  IOREndpointImpl* endpoint = m_endpoint;
  if (m_remaining_key.empty()) {
    endpoint->_qz_add_ref();
  } else {
    endpoint = m_endpoint->extended(m_remaining_key);
  }
  remaining_key = empty._retn();
  return endpoint;
}

std::vector<unsigned char> IORImpl::object_key() const {
  const auto profile = m_endpoint->profiles().first_keyed();
  if (!profile) return {};
  auto key = copy(profile->key_prefix);
  key.insert(key.end(), m_remaining_key.begin(), m_remaining_key.end());
  return key;
}

IORImpl* from_object(CORBA::Object_ptr object) {
  if (CORBA::is_nil(object)) return nullptr;
  cdrMemoryStream stream;
  CORBA::Object::_marshalObjRef(object, stream);
  return IORImpl::from_octets({static_cast<const unsigned char*>(stream.bufPtr()), stream.bufSize()},
                              std::endian::native == std::endian::little);
}

CORBA::Object_ptr to_object(QZ_IOR::IOR_ptr ior) {
  if (CORBA::is_nil(ior)) return CORBA::Object::_nil();
  const auto* impl = dynamic_cast<const IORImpl*>(ior);
  if (!impl) throw CORBA::BAD_PARAM(0, CORBA::COMPLETED_NO);
  std::vector<unsigned char> octets;
  impl->append_to(octets, std::endian::native == std::endian::little);
  cdrMemoryStream stream(octets.data(), octets.size());
  return CORBA::Object::_unmarshalObjRef(stream);
}

}  // namespace QZ_IOR
