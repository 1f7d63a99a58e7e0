#include "tests/support/corba_side.h"

#include <iomanip>
#include <sstream>
#include <utility>

#include "tests/support/loopback.h"

namespace support {

namespace {

CORBA::ORB_var& orb_slot() {
  static CORBA::ORB_var orb;
  return orb;
}

PortableServer::POA_var root_poa() {
  CORBA::Object_var object = corba_orb()->resolve_initial_references("RootPOA");
  return PortableServer::POA::_narrow(object);
}

class DynamicState : public POA_QZ_POA_PersistentServer::EndpointDynamicState {};

class Activator : public POA_QZ_POA_PersistentServer::EndpointActivator {
 public:
  explicit Activator(ActivatorFunction function) : m_function(std::move(function)) {}

  void activate(const QZ_POA_PersistentServer::EndpointIdList& ids) override {
    std::vector<Octets> list;
    for (CORBA::ULong i = 0; i < ids.length(); ++i) list.push_back(octets_of(ids[i]));
    m_function(list);
  }

 private:
  ActivatorFunction m_function;
};

// The POA keeps the servant alive from now on.
template <typename Interface>
typename Interface::_var_type serve(PortableServer::ServantBase* servant) {
  PortableServer::POA_var poa = root_poa();
  PortableServer::ServantBase_var release(servant);
  PortableServer::ObjectId_var id = poa->activate_object(servant);
  CORBA::Object_var object = poa->id_to_reference(id);
  return Interface::_unchecked_narrow(object);
}

}  // namespace

CORBA::ORB_ptr corba_orb() {
  CORBA::ORB_var& orb = orb_slot();
  if (!CORBA::is_nil(orb)) return orb;
  const std::string endpoint = "giop:tcp:" + own_address() + ":";
  // Lists may be longer than the ORB's own limit of 2 MiB.
  const char* options[][2] = {{"endPoint", endpoint.c_str()}, {"giopMaxMsgSize", "33554432"}, {nullptr, nullptr}};
  int argc = 0;
  orb = CORBA::ORB_init(argc, nullptr, "", options);
  const PortableServer::POAManager_var manager = root_poa()->the_POAManager();
  manager->activate();
  return orb;
}

void end_corba_orb() {
  if (CORBA::is_nil(orb_slot())) return;
  orb_slot()->destroy();
  orb_slot() = CORBA::ORB::_nil();
}

CORBA::OctetSeq octet_seq(const Octets& octets) {
  CORBA::OctetSeq result;
  result.length(static_cast<CORBA::ULong>(octets.size()));
  std::copy(octets.begin(), octets.end(), result.get_buffer());
  return result;
}

Octets octets_of(const CORBA::OctetSeq& octets) {
  return {octets.get_buffer(), octets.get_buffer() + octets.length()};
}

CORBA::Object_var make_reference(const std::string& host, unsigned port, const Octets& key) {
  std::ostringstream url;
  url << "corbaloc::1.2@" << host << ":" << port << "/" << std::hex << std::setfill('0');
  for (const unsigned octet : key) url << "%" << std::setw(2) << octet;
  return corba_orb()->string_to_object(url.str().c_str());
}

QZ_POA_PersistentServer::EndpointDynamicState_var new_dynamic_state() {
  return serve<QZ_POA_PersistentServer::EndpointDynamicState>(new DynamicState);
}

QZ_POA_PersistentServer::EndpointActivator_var new_activator(ActivatorFunction function) {
  return serve<QZ_POA_PersistentServer::EndpointActivator>(new Activator(std::move(function)));
}

void end_servant(CORBA::Object_ptr reference) {
  PortableServer::POA_var poa = root_poa();
  PortableServer::ObjectId_var id = poa->reference_to_id(reference);
  poa->deactivate_object(id);
}

}  // namespace support
