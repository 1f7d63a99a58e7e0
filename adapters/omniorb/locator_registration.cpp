#include "adapters/omniorb/locator_registration.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <thread>
#include <utility>

#include "adapters/omniorb/endpoint_activator_impl.h"
#include "adapters/omniorb/endpoint_id.h"
#include "adapters/omniorb/locator_registration_impl.h"
#include "adapters/omniorb/reference_key.h"

namespace PoaLocator {

using Answer = LocatorClient::Answer;

namespace {

// A server with no POA up has nothing to ask about, so it registers its activation anew; the locator notes that in
// its event log, hence only at every so many checks.
constexpr std::size_t CHECKS_PER_ACTIVATOR_REGISTRATION = 10;

void complete(std::string& option, const char* variable, const char* otherwise, const char* missing) {
  if (!option.empty()) return;
  const char* value = std::getenv(variable);
  option = value && *value ? value : otherwise;
  if (option.empty()) throw RegistrationError(missing);
}

LocatorOptions completed(LocatorOptions options) {
  complete(options.url, "POALOCATOR_URL", "",
           "The locator's address is missing; set POALOCATOR_URL, for example to corbaloc::127.0.0.1:2809.");
  complete(options.orb_name, "POALOCATOR_ORB_NAME", "",
           "The server's ORB name is missing; set POALOCATOR_ORB_NAME to the name that the locator knows it by.");
  complete(options.domain, "POALOCATOR_DOMAIN", "poalocator", "");
  return options;
}

PortableServer::POA_ptr root_poa(CORBA::ORB_ptr orb) {
  CORBA::Object_var object = orb->resolve_initial_references("RootPOA");
  return PortableServer::POA::_narrow(object);
}

// Transient, so that references of an earlier life of the server are dead; with a manager of its own, so that the
// locator is answered whatever state the application's POAs are in.
PortableServer::POA_ptr poa_for_calls(PortableServer::POA_ptr root, const std::string& orb_name) {
  CORBA::PolicyList none;
  PortableServer::POA_var poa =
      root->create_POA(("PoaLocator:" + orb_name).c_str(), PortableServer::POAManager::_nil(), none);
  PortableServer::POAManager_var manager = poa->the_POAManager();
  manager->activate();
  return poa._retn();
}

template <class Interface>
typename Interface::_ptr_type serve(PortableServer::POA_ptr poa, PortableServer::ServantBase* servant) {
  const PortableServer::ServantBase_var owner = servant;
  const PortableServer::ObjectId_var id = poa->activate_object(servant);
  const CORBA::Object_var object = poa->id_to_reference(id);
  return Interface::_unchecked_narrow(object);
}

void stop_serving(PortableServer::POA_ptr poa, CORBA::Object_ptr object) {
  try {
    const PortableServer::ObjectId_var id = poa->reference_to_id(object);
    poa->deactivate_object(id);
  } catch (const CORBA::Exception&) {
    // Not served: the same.
  }
}

// Or may be: it is told when the POA goes.
bool is_known_to_locator(const RegisteredPoa& poa) {
  return poa.is_pending || !CORBA::is_nil(poa.locator_reference);
}

CORBA::PolicyList persistent(PortableServer::POA_ptr root, const CORBA::PolicyList& others) {
  CORBA::PolicyList all;
  all.length(others.length() + 2);
  for (CORBA::ULong i = 0; i < others.length(); ++i) all[i] = CORBA::Policy::_duplicate(others[i]);
  all[others.length()] = root->create_lifespan_policy(PortableServer::PERSISTENT);
  all[others.length() + 1] = root->create_id_assignment_policy(PortableServer::USER_ID);
  return all;
}

}  // namespace

LocatorRegistration::Impl::Impl(CORBA::ORB_ptr orb, LocatorOptions options, ActivationCallback on_activate,
                                LocatorRegistration& self)
    : m_options(completed(std::move(options))),
      m_on_activate(std::move(on_activate)),
      m_self(self),
      m_client(orb, m_options),
      m_root(root_poa(orb)),
      m_calls(poa_for_calls(m_root, m_options.orb_name)),
      m_activator(serve<QZ_POA_PersistentServer::EndpointActivator>(m_calls, new EndpointActivatorImpl(*this))),
      m_watch(m_options.watch_interval, [this] { check(); }) {}

LocatorRegistration::Impl::~Impl() {
  m_watch.stop();
  try {
    // Waits for calls of the locator that are under way.
    m_calls->destroy(true, true);
  } catch (const CORBA::Exception&) {
    // The ORB has ended, and with it all calls.
  }
}

void LocatorRegistration::Impl::start() {
  const QZ_MutexLock lock(m_changes);
  m_client.add_activator(m_activator);
}

PortableServer::POA_ptr LocatorRegistration::Impl::create_poa(const std::string& path,
                                                              const CORBA::PolicyList& policies,
                                                              const PoaSetup& setup) {
  const std::vector<std::string> names = names_of(path);
  const QZ_MutexLock lock(m_changes);
  if (m_left) throw RegistrationError("POA \"" + path + "\" cannot come up: this server has left the locator.");

  PortableServer::POA_var parent = PortableServer::POA::_duplicate(m_root);
  std::string level;
  for (const std::string& name : names) {
    level += (level.empty() ? "" : "/") + name;
    const bool is_upper_level = level.size() < path.size();
    Poa poa = find(level);
    if (!poa) {
      poa = bring_up(parent, level, name, is_upper_level ? CORBA::PolicyList() : policies,
                     is_upper_level ? PoaSetup() : setup, is_upper_level);
    } else if (!is_upper_level && poa->is_upper_level) {
      throw RegistrationError("POA \"" + path + "\" is up already, as the upper level of another; create it first.");
    } else if (poa->is_pending || (!is_upper_level && CORBA::is_nil(poa->locator_reference))) {
      register_or_raise(*poa);
    }
    parent = PortableServer::POA::_duplicate(poa->poa);
  }
  return parent._retn();
}

LocatorRegistration::Impl::Poa LocatorRegistration::Impl::bring_up(PortableServer::POA_ptr parent,
                                                                   const std::string& path, const std::string& name,
                                                                   const CORBA::PolicyList& policies,
                                                                   const PoaSetup& setup, bool is_upper_level) {
  auto result = std::make_shared<RegisteredPoa>();
  result->path = path;
  result->is_upper_level = is_upper_level;
  const PortableServer::POAManager_var manager = m_root->the_POAManager();
  result->poa = parent->create_POA(name.c_str(), manager, persistent(m_root, policies));
  try {
    if (setup) setup(result->poa);
    result->prototype = result->poa->create_reference_with_id(PortableServer::ObjectId(), CORBA::Object::_PD_repoId);
    result->dynamic_state =
        serve<QZ_POA_PersistentServer::EndpointDynamicState>(m_calls, new EndpointDynamicStateImpl(result));
    register_or_raise(*result);
  } catch (...) {
    if (result->is_pending) {
      // The locator may send clients here, now or when it is back.
      const QZ_MutexLock lock(m_table);
      m_poas.push_back(result);
      throw;
    }
    if (!CORBA::is_nil(result->dynamic_state)) stop_serving(m_calls, result->dynamic_state);
    result->poa->destroy(true, false);
    throw;
  }
  const QZ_MutexLock lock(m_table);
  m_poas.push_back(result);
  return result;
}

LocatorRegistration::Impl::Attempt LocatorRegistration::Impl::add(const RegisteredPoa& poa) const {
  Attempt attempt;
  const unsigned probes_before = poa.probes;
  attempt.answer = m_client.add_endpoint(poa.path, poa.prototype, poa.dynamic_state, attempt.reference);
  // Before it refuses, the locator asks the dynamic state that it holds: so that shows whose it is.
  attempt.is_own = attempt.answer == Answer::ACCEPTED || poa.probes != probes_before;
  return attempt;
}

Answer LocatorRegistration::Impl::ask_to_register(RegisteredPoa& poa) {
  const bool was_pending = poa.is_pending;
  poa.is_pending = CORBA::is_nil(poa.locator_reference);
  Attempt attempt = add(poa);
  if (attempt.answer == Answer::ALREADY_REGISTERED && was_pending && attempt.is_own && !poa.is_upper_level) {
    // By the call whose answer was lost, and with it the reference.
    m_client.remove_endpoint(poa.path);
    attempt = add(poa);
  }
  poa.is_pending = false;
  if (attempt.answer == Answer::ACCEPTED) {
    const QZ_MutexLock lock(m_table);
    poa.locator_reference = attempt.reference;
  }
  return attempt.answer;
}

void LocatorRegistration::Impl::register_or_raise(RegisteredPoa& poa) {
  const Answer answer = ask_to_register(poa);
  // Several servers may share upper levels, of which only one can be the registered one.
  const bool is_elsewhere = answer == Answer::ALREADY_REGISTERED || answer == Answer::OTHER_ORB;
  if (answer == Answer::ACCEPTED || (poa.is_upper_level && is_elsewhere)) return;
  throw RegistrationError(m_client.refusal(poa.path, answer));
}

std::string LocatorRegistration::Impl::register_again(RegisteredPoa& poa) {
  try {
    const Answer answer = ask_to_register(poa);
    const bool is_registered = answer == Answer::ACCEPTED || answer == Answer::ALREADY_REGISTERED;
    return is_registered ? std::string() : m_client.refusal(poa.path, answer);
  } catch (const RegistrationError& error) {
    return error.what();
  }
}

CORBA::Object_ptr LocatorRegistration::Impl::mint(const std::string& path, const PortableServer::ObjectId& id,
                                                  const char* type_id) const {
  const Poa poa = find(path);
  CORBA::Object_var through_locator;
  if (poa) {
    const QZ_MutexLock lock(m_table);
    through_locator = poa->locator_reference;
  }
  if (CORBA::is_nil(through_locator)) {
    throw RegistrationError("POA \"" + path + "\" is not registered by this server; create it before its references.");
  }
  const CORBA::Object_var direct = poa->poa->create_reference_with_id(id, type_id);
  return with_longer_key(through_locator, rest_after(key_of(poa->prototype), key_of(direct)), type_id);
}

// Until the locator has forgotten the activator it may ask for a POA that has just been removed, because a client's
// request came in between, and such a call may still be on its way then. That POA is registered once more, so that the
// request is served, and removed in the end.
void LocatorRegistration::Impl::leave() {
  m_watch.stop();
  {
    const QZ_MutexLock lock(m_changes);
    if (m_left) return;
  }
  try {
    remove_poas();
    m_client.remove_activator();
    std::this_thread::sleep_for(m_options.leave_grace);
  } catch (const RegistrationError&) {
    // Nor would further calls be answered.
    const QZ_MutexLock lock(m_changes);
    m_left = true;
    throw;
  }
  {
    const QZ_MutexLock lock(m_changes);
    m_left = true;
  }
  remove_poas();
}

void LocatorRegistration::Impl::remove_poas() {
  const std::vector<Poa> all = poas();
  for (auto poa = all.rbegin(); poa != all.rend(); ++poa) {
    const QZ_MutexLock lock(m_changes);
    if (!is_known_to_locator(**poa)) continue;
    // Where nobody knows, this makes it known.
    const bool is_own = !(*poa)->is_pending || add(**poa).is_own;
    if (is_own) m_client.remove_endpoint((*poa)->path);
    (*poa)->is_pending = false;
    const QZ_MutexLock table_lock(m_table);
    (*poa)->locator_reference = CORBA::Object::_nil();
  }
}

bool LocatorRegistration::Impl::activate(const std::string& path) {
  {
    const QZ_MutexLock lock(m_changes);
    if (m_left) throw CORBA::TRANSIENT(0, CORBA::COMPLETED_NO);
    if (const Poa poa = find(path)) {
      // The locator would not ask if it knew.
      const std::string problem = register_again(*poa);
      if (problem.empty()) return true;
      report(problem);
      throw CORBA::TRANSIENT(0, CORBA::COMPLETED_NO);
    }
  }
  try {
    return m_on_activate && m_on_activate(m_self, path) && find(path);
  } catch (const std::exception& exception) {
    report(exception.what());
  } catch (const CORBA::Exception& exception) {
    report("POA \"" + path + "\" could not be created: " + exception._name() + ".");
  }
  throw CORBA::TRANSIENT(0, CORBA::COMPLETED_NO);
}

void LocatorRegistration::Impl::check() {
  const QZ_MutexLock lock(m_changes);
  if (m_left) return;
  std::vector<Poa> registered = poas();
  std::erase_if(registered, [](const Poa& poa) { return !is_known_to_locator(*poa); });
  try {
    ++m_checks;
    if (registered.empty()) {
      if (m_checks % CHECKS_PER_ACTIVATOR_REGISTRATION == 0) m_client.add_activator(m_activator);
      return;
    }
    // One POA at each check: what the locator loses all at once shows in any of them.
    const auto pending =
        std::find_if(registered.begin(), registered.end(), [](const Poa& poa) { return poa->is_pending; });
    RegisteredPoa& poa = pending != registered.end() ? **pending : *registered[m_checks % registered.size()];
    const bool was_pending = poa.is_pending;
    const Answer answer = ask_to_register(poa);
    const bool is_first = was_pending && answer == Answer::ACCEPTED;
    const bool is_taken = was_pending && answer == Answer::ALREADY_REGISTERED && !poa.is_upper_level;
    if (is_taken) report(m_client.refusal(poa.path, answer));
    if (answer != Answer::ALREADY_REGISTERED && !is_first) register_all_again();
  } catch (const RegistrationError&) {
    // The locator does not answer: it may at the next check.
  }
}

void LocatorRegistration::Impl::register_all_again() {
  m_client.add_activator(m_activator);
  std::string problem;
  for (const Poa& poa : poas()) {
    const std::string of_this = register_again(*poa);
    if (!of_this.empty() && !poa->is_upper_level) problem = of_this;
  }
  if (problem.empty()) report("The locator had lost registrations of this server; they have been made again.");
  // A problem comes back at every check until somebody solves it.
  else if (problem != m_last_problem)
    report(problem);
  m_last_problem = problem;
}

void LocatorRegistration::Impl::report(const std::string& sentence) const {
  if (m_options.report) {
    m_options.report(sentence);
  } else {
    std::fprintf(stderr, "%s\n", sentence.c_str());
  }
}

LocatorRegistration::Impl::Poa LocatorRegistration::Impl::find(const std::string& path) const {
  const QZ_MutexLock lock(m_table);
  const auto at = std::find_if(m_poas.begin(), m_poas.end(), [&](const Poa& poa) { return poa->path == path; });
  return at == m_poas.end() ? nullptr : *at;
}

std::vector<LocatorRegistration::Impl::Poa> LocatorRegistration::Impl::poas() const {
  const QZ_MutexLock lock(m_table);
  return m_poas;
}

LocatorRegistration::LocatorRegistration(CORBA::ORB_ptr orb, LocatorOptions options, ActivationCallback on_activate)
    : m_impl(std::make_unique<Impl>(orb, std::move(options), std::move(on_activate), *this)) {
  m_impl->start();
}

LocatorRegistration::~LocatorRegistration() {
  try {
    m_impl->leave();
  } catch (const std::exception&) {
    // The locator finds out by itself.
  } catch (const CORBA::Exception&) {
    // The ORB has ended.
  }
}

PortableServer::POA_ptr LocatorRegistration::create_poa(const std::string& path, const CORBA::PolicyList& policies,
                                                        const PoaSetup& setup) {
  return m_impl->create_poa(path, policies, setup);
}

CORBA::Object_ptr LocatorRegistration::mint(const std::string& path, const PortableServer::ObjectId& id,
                                            const char* type_id) const {
  return m_impl->mint(path, id, type_id);
}

CORBA::Object_ptr LocatorRegistration::mint(const std::string& path, const std::string& id, const char* type_id) const {
  PortableServer::ObjectId octets;
  octets.length(static_cast<CORBA::ULong>(id.size()));
  std::copy(id.begin(), id.end(), octets.get_buffer());
  return m_impl->mint(path, octets, type_id);
}

void LocatorRegistration::leave() {
  m_impl->leave();
}

}  // namespace PoaLocator
