// Calls an object of the bank. A plain CORBA client: the locator is only an address in the reference.
#include <omniORB4/CORBA.h>
#include <omniORB4/omniORB.h>

#include <CLI/CLI.hpp>
#include <bank.hh>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <string>

namespace {

struct ClientOptions {
  std::string reference;
  std::string operation;
  long long amount = 0;
  bool pid = false;
  unsigned timeout = 0;  // milliseconds; 0: none
};

// "file:PATH" stands for what the file holds.
std::string resolved(const std::string& reference) {
  const std::string scheme = "file:";
  if (!reference.starts_with(scheme)) return reference;
  const std::string path = reference.substr(scheme.size());
  std::ifstream in(path);
  std::string text;
  if (!(in >> text)) throw std::runtime_error("no reference in " + path);
  return text;
}

template <class Interface>
typename Interface::_ptr_type narrowed(CORBA::Object_ptr object) {
  typename Interface::_var_type result = Interface::_narrow(object);
  if (CORBA::is_nil(result))
    throw std::runtime_error("the reference is none of a " + std::string(Interface::_PD_repoId));
  return result._retn();
}

void call(CORBA::Object_ptr object, const ClientOptions& options) {
  if (options.operation == "audit") {
    const Bank::Audit_var audit = narrowed<Bank::Audit>(object);
    std::cout << audit->deposits() << '\n';
  } else if (options.operation == "balance") {
    const Bank::Account_var account = narrowed<Bank::Account>(object);
    std::cout << account->balance() << '\n';
  } else if (options.operation == "deposit") {
    const Bank::Account_var account = narrowed<Bank::Account>(object);
    std::cout << account->deposit(options.amount) << '\n';
  }
  if (!options.pid && options.operation != "pid") return;
  const Bank::Served_var served = narrowed<Bank::Served>(object);
  std::cout << (options.pid ? "server_pid " : "") << served->server_pid() << '\n';
}

int run(int argc, char** argv) {
  // Before the options, since the ORB takes its own out of the arguments.
  const CORBA::ORB_var orb = CORBA::ORB_init(argc, argv);
  ClientOptions options;
  CLI::App app("Calls an account or the ledger of the bank and prints the answer.");
  app.add_option("reference", options.reference, "IOR:..., corbaloc:... or file:PATH")->required();
  app.add_option("operation", options.operation, "balance or deposit of an account, audit of the ledger, pid of either")
      ->required()
      ->check(CLI::IsMember({"balance", "deposit", "audit", "pid"}));
  app.add_option("amount", options.amount, "How much to deposit");
  app.add_flag("--pid", options.pid, "Print the process id of the server that answers, too");
  app.add_option("--timeout", options.timeout, "Of each call, in milliseconds; none otherwise");
  CLI11_PARSE(app, argc, argv);

  if (options.timeout != 0) omniORB::setClientCallTimeout(options.timeout);
  const CORBA::Object_var object = orb->string_to_object(resolved(options.reference).c_str());
  call(object, options);
  orb->destroy();
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return run(argc, argv);
  } catch (const CORBA::SystemException& exception) {
    std::fprintf(stderr, "bank_client: %s, minor code 0x%08x\n", exception._name(),
                 static_cast<unsigned>(exception.minor()));
  } catch (const CORBA::Exception& exception) {
    std::fprintf(stderr, "bank_client: %s\n", exception._name());
  } catch (const std::exception& error) {
    std::fprintf(stderr, "bank_client: %s\n", error.what());
  }
  return 1;
}
