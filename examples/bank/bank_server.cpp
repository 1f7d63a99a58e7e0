// A server with nested persistent POAs that registers itself with the locator. SIGTERM and SIGINT end it cleanly.
#include <omniORB4/CORBA.h>

#include <csignal>
#include <iostream>

#include "adapters/omniorb/locator_registration.h"
#include "examples/bank/bank_options.h"
#include "examples/bank/bank_poas.h"

namespace {

// For the calling thread and all that it starts from now on.
sigset_t hold_end_signals() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGTERM);
  sigaddset(&signals, SIGINT);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  return signals;
}

void run(CORBA::ORB_ptr orb, const BankOptions& options, const sigset_t& end_signals) {
  const BankPoas bank(orb);
  PoaLocator::LocatorRegistration registration(
      orb, options.locator,
      [&bank](PoaLocator::LocatorRegistration& self, const std::string& path) { return bank.create(self, path); });
  if (options.eager || options.register_only) bank.create_all(registration);
  if (!options.refs.empty()) bank.write_references(registration, options.accounts, options.refs);
  if (!options.register_only) {
    std::cout << "bank_server: ready" << std::endl;
    int signal = 0;
    sigwait(&end_signals, &signal);
  }
  registration.leave();
  // Requests that clients have sent here already are answered first.
  orb->shutdown(true);
}

}  // namespace

int main(int argc, char** argv) {
  const sigset_t end_signals = hold_end_signals();
  try {
    const CORBA::ORB_var orb = CORBA::ORB_init(argc, argv);
    const BankOptions options = parse_bank_options(argc, argv);
    run(orb, options, end_signals);
    orb->destroy();
    return 0;
  } catch (const std::exception& error) {
    std::cerr << "bank_server: " << error.what() << std::endl;
  } catch (const CORBA::Exception& exception) {
    std::cerr << "bank_server: CORBA exception " << exception._name() << std::endl;
  }
  return 1;
}
