// Registers many POAs at a locator, as fast as it answers or at a rate, and says how long that took.
#include <omniORB4/CORBA.h>

#include <CLI/CLI.hpp>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <exception>
#include <iostream>
#include <mutex>
#include <poa_persistent_server.hh>
#include <string>
#include <thread>
#include <vector>

#include "adapters/omniorb/endpoint_id.h"
#include "bench/latency_histogram.h"

namespace {

using QZ_POA_PersistentServer::EndpointRegistry;
using Clock = std::chrono::steady_clock;

struct Options {
  std::string url;
  std::string orb_name = "bench";
  std::string domain = "poalocator";
  std::string prefix = "p";
  unsigned first = 0;
  unsigned count = 1;
  unsigned clients = 1;
  double rate = 0;
  bool remove = false;
};

class DynamicState : public POA_QZ_POA_PersistentServer::EndpointDynamicState {};

class Registrar {
 public:
  Registrar(CORBA::ORB_ptr orb, const Options& options) : m_options(options) {
    const CORBA::Object_var root_object = orb->resolve_initial_references("RootPOA");
    const PortableServer::POA_var root = PortableServer::POA::_narrow(root_object);
    const PortableServer::POAManager_var manager = root->the_POAManager();
    manager->activate();

    const PortableServer::ServantBase_var servant(new DynamicState);
    const PortableServer::ObjectId_var id = root->activate_object(servant.in());
    const CORBA::Object_var state = root->id_to_reference(id);
    m_state = QZ_POA_PersistentServer::EndpointDynamicState::_unchecked_narrow(state);

    CORBA::PolicyList policies;
    policies.length(2);
    policies[0] = root->create_lifespan_policy(PortableServer::PERSISTENT);
    policies[1] = root->create_id_assignment_policy(PortableServer::USER_ID);
    const PortableServer::POA_var poa = root->create_POA("prototype", manager, policies);
    m_prototype = poa->create_reference_with_id(PortableServer::ObjectId(), "");

    const CORBA::Object_var registry = orb->string_to_object((options.url + "/EndpointRegistry").c_str());
    m_registry = EndpointRegistry::_narrow(registry);
  }

  // From m_options.clients threads.
  void run() {
    m_start = Clock::now();
    std::vector<std::thread> threads;
    for (unsigned i = 0; i < m_options.clients; ++i) threads.emplace_back([this] { work(); });
    for (std::thread& thread : threads) thread.join();
    m_end = Clock::now();
    if (m_failure) std::rethrow_exception(m_failure);
  }

  void remove_all() {
    for (unsigned n = 0; n < m_options.count; ++n) m_registry->remove(m_options.orb_name.c_str(), id_of(n));
  }

  nlohmann::json summary() const {
    const double seconds = std::chrono::duration<double>(m_end - m_start).count();
    return {{"count", m_options.count},
            {"seconds", seconds},
            {"rate", m_options.count / seconds},
            {"latency_us", m_latency.summary()}};
  }

 private:
  CORBA::OctetSeq id_of(unsigned n) const {
    char digits[16];
    std::snprintf(digits, sizeof digits, "%06u", m_options.first + n);
    return PoaLocator::endpoint_id_of(m_options.domain, m_options.prefix + digits);
  }

  void work() {
    bench::LatencyHistogram latency;
    try {
      for (unsigned n; (n = m_next++) < m_options.count;) {
        auto begin = Clock::now();
        if (m_options.rate > 0) {
          begin =
              m_start + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(n / m_options.rate));
          std::this_thread::sleep_until(begin);
        }
        add(n);
        latency.record((Clock::now() - begin) / std::chrono::nanoseconds(1));
      }
    } catch (...) {
      const std::scoped_lock lock(m_mutex);
      m_failure = std::current_exception();
      m_next = m_options.count;
    }
    const std::scoped_lock lock(m_mutex);
    m_latency.add(latency);
  }

  void add(unsigned n) {
    CORBA::Object_var locator_reference;
    CORBA::ULong creation_number = 0;
    m_registry->add(m_options.orb_name.c_str(), id_of(n), m_prototype, m_state, locator_reference.out(),
                    creation_number);
  }

  const Options& m_options;
  QZ_POA_PersistentServer::EndpointDynamicState_var m_state;
  CORBA::Object_var m_prototype;
  QZ_POA_PersistentServer::EndpointRegistry_var m_registry;
  Clock::time_point m_start;
  Clock::time_point m_end;
  std::atomic<unsigned> m_next{0};
  std::mutex m_mutex;  // guards the members below
  std::exception_ptr m_failure;
  bench::LatencyHistogram m_latency;
};

}  // namespace

int main(int argc, char** argv) {
  Options options;
  CLI::App app("Registers POAs of one ORB, children of the root, and leaves them registered.");
  app.add_option("--url", options.url, "Locator, corbaloc::HOST:PORT")->required();
  app.add_option("--orb-name", options.orb_name)->capture_default_str();
  app.add_option("--domain", options.domain)->capture_default_str();
  app.add_option("--prefix", options.prefix, "POA names are this and six digits")->capture_default_str();
  app.add_option("--first", options.first, "Number of the first POA")->capture_default_str();
  app.add_option("--count", options.count)->check(CLI::PositiveNumber)->capture_default_str();
  app.add_option("--clients", options.clients, "Threads that call at the same time")
      ->check(CLI::PositiveNumber)
      ->capture_default_str();
  app.add_option("--rate", options.rate, "Registrations a second; latency counts from when one was to begin")
      ->check(CLI::PositiveNumber);
  app.add_flag("--remove", options.remove, "Unregister them again in the end");
  CLI11_PARSE(app, argc, argv);
  try {
    const char* orb_options[][2] = {{"endPoint", "giop:tcp:127.0.0.1:"}, {nullptr, nullptr}};
    int no_arguments = 0;
    const CORBA::ORB_var orb = CORBA::ORB_init(no_arguments, nullptr, "", orb_options);
    Registrar registrar(orb, options);
    registrar.run();
    if (options.remove) registrar.remove_all();
    std::cout << registrar.summary().dump() << std::endl;
    orb->destroy();
    return 0;
  } catch (const std::exception& error) {
    std::cerr << "registrar: " << error.what() << std::endl;
  } catch (const CORBA::Exception& exception) {
    std::cerr << "registrar: CORBA exception " << exception._name() << std::endl;
  }
  return 1;
}
