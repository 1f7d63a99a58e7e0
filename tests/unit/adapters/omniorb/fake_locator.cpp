#include "tests/unit/adapters/omniorb/fake_locator.h"

#include <cstdio>
#include <utility>

#include "adapters/omniorb/endpoint_id.h"
#include "tests/support/test_orb.h"

using namespace QZ_POA_PersistentServer;

namespace {

constexpr const char* DOMAIN = "poalocator";

std::string path_or_complaint(const CORBA::OctetSeq& id) {
  return PoaLocator::path_of(DOMAIN, id).value_or("an id that is none of the domain");
}

void serve(const char* name, PortableServer::ServantBase* servant) {
  const PortableServer::ServantBase_var owner = servant;
  PortableServer::ObjectId_var id = PortableServer::string_to_ObjectId(name);
  test_orb::named_poa()->activate_object_with_id(id, servant);
}

void stop(const char* name) {
  PortableServer::ObjectId_var id = PortableServer::string_to_ObjectId(name);
  test_orb::named_poa()->deactivate_object(id);
}

// The object whose key is the id, at the ORB's address.
CORBA::Object_ptr through_locator(const CORBA::OctetSeq& id) {
  std::string text = test_orb::url() + "/";
  for (CORBA::ULong i = 0; i < id.length(); ++i) {
    char escaped[8];
    std::snprintf(escaped, sizeof escaped, "%%%02x", id[i]);
    text += escaped;
  }
  return test_orb::orb()->string_to_object(text.c_str());
}

bool is_alive(CORBA::Object_ptr object) {
  try {
    return !object->_non_existent();
  } catch (const CORBA::SystemException&) {
    return false;
  }
}

}  // namespace

class FakeLocator::Endpoints : public POA_QZ_POA_PersistentServer::EndpointRegistry {
 public:
  explicit Endpoints(FakeLocator& locator) : m_locator(locator) {}

  void add(const char* orb_name, const EndpointId& id, CORBA::Object_ptr prototype, EndpointDynamicState_ptr state,
           CORBA::Object_out locator_reference, CORBA::ULong& creation_number) override {
    const std::string path = path_or_complaint(id);
    const std::lock_guard lock(m_locator.m_mutex);
    m_locator.m_calls.push_back("add " + path + " as " + orb_name);
    if (!PoaLocator::path_of(DOMAIN, id)) throw CORBA::BAD_PARAM(0x515A0C06, CORBA::COMPLETED_NO);
    const Refusal refusal = m_locator.m_refusals[path];
    switch (refusal) {
      case Refusal::NONE:
      case Refusal::LOST_ANSWER:
        break;
      case Refusal::SILENCE:
        throw CORBA::TRANSIENT(0, CORBA::COMPLETED_NO);
      case Refusal::OTHER_ORB:
        throw QZ_POA_PersistentServer::EndpointRegistry::InvalidOrbName(orb_name);
      case Refusal::NO_ENTRY:
        throw QZ_POA_PersistentServer::EndpointRegistry::EntryNotExist(id);
      case Refusal::NOT_ALLOWED:
        throw QZ_POA_PersistentServer::EndpointRegistry::DynamicRegistrationNotAllowed(id);
      case Refusal::STORE:
        throw CORBA::PERSIST_STORE(0, CORBA::COMPLETED_NO);
    }
    Entry& entry = m_locator.m_entries[path];
    if (!CORBA::is_nil(entry.state) && is_alive(entry.state))
      throw QZ_POA_PersistentServer::EndpointRegistry::EntryAlreadyExists(id);
    entry.prototype = CORBA::Object::_duplicate(prototype);
    entry.state = EndpointDynamicState::_duplicate(state);
    locator_reference = through_locator(id);
    creation_number = 1;
    if (refusal == Refusal::LOST_ANSWER) throw CORBA::COMM_FAILURE(0, CORBA::COMPLETED_MAYBE);
  }

  void remove(const char* /*orb_name*/, const EndpointId& id) override {
    const std::string path = path_or_complaint(id);
    const std::lock_guard lock(m_locator.m_mutex);
    m_locator.m_calls.push_back("remove " + path);
    m_locator.m_entries.erase(path);
  }

 private:
  FakeLocator& m_locator;
};

class FakeLocator::Activators : public POA_QZ_POA_PersistentServer::EndpointActivatorRegistry {
 public:
  explicit Activators(FakeLocator& locator) : m_locator(locator) {}

  void add(const char* orb_name, EndpointActivator_ptr activator, EndpointIdList_out ids) override {
    ids = new EndpointIdList;
    const std::lock_guard lock(m_locator.m_mutex);
    m_locator.m_calls.push_back(std::string("add activator of ") + orb_name);
    m_locator.m_activator = EndpointActivator::_duplicate(activator);
  }

  void remove(const char* orb_name) override {
    std::unique_lock lock(m_locator.m_mutex);
    if (const auto action = std::exchange(m_locator.m_before_removal, {})) {
      lock.unlock();
      action();
      lock.lock();
    }
    m_locator.m_calls.push_back(std::string("remove activator of ") + orb_name);
    if (CORBA::is_nil(m_locator.m_activator))
      throw QZ_POA_PersistentServer::EndpointActivatorRegistry::EntryNotExist(orb_name);
    m_locator.m_activator = EndpointActivator::_nil();
  }

 private:
  FakeLocator& m_locator;
};

FakeLocator::FakeLocator() {
  serve("EndpointRegistry", new Endpoints(*this));
  serve("EndpointActivatorRegistry", new Activators(*this));
}

FakeLocator::~FakeLocator() {
  stop("EndpointRegistry");
  stop("EndpointActivatorRegistry");
}

void FakeLocator::refuse(const std::string& path, Refusal how) {
  const std::lock_guard lock(m_mutex);
  m_refusals[path] = how;
}

void FakeLocator::forget_everything() {
  const std::lock_guard lock(m_mutex);
  m_entries.clear();
  m_activator = EndpointActivator::_nil();
}

void FakeLocator::forget_poa(const std::string& path) {
  const std::lock_guard lock(m_mutex);
  m_entries.erase(path);
}

void FakeLocator::before_activator_is_removed(std::function<void()> action) {
  const std::lock_guard lock(m_mutex);
  m_before_removal = std::move(action);
}

std::vector<std::string> FakeLocator::calls() const {
  const std::lock_guard lock(m_mutex);
  return m_calls;
}

std::vector<std::string> FakeLocator::registered() const {
  const std::lock_guard lock(m_mutex);
  std::vector<std::string> paths;
  for (const auto& [path, entry] : m_entries) {
    if (!CORBA::is_nil(entry.state)) paths.push_back(path);
  }
  return paths;
}

CORBA::Object_ptr FakeLocator::prototype(const std::string& path) const {
  const std::lock_guard lock(m_mutex);
  const auto at = m_entries.find(path);
  return at == m_entries.end() ? CORBA::Object::_nil() : CORBA::Object::_duplicate(at->second.prototype);
}

EndpointActivator_ptr FakeLocator::activator() const {
  const std::lock_guard lock(m_mutex);
  return EndpointActivator::_duplicate(m_activator);
}

EndpointIdList FakeLocator::ids(const std::vector<std::string>& paths) {
  EndpointIdList result;
  result.length(static_cast<CORBA::ULong>(paths.size()));
  for (CORBA::ULong i = 0; i < result.length(); ++i) result[i] = PoaLocator::endpoint_id_of(DOMAIN, paths[i]);
  return result;
}
