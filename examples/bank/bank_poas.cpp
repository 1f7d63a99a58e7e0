#include "examples/bank/bank_poas.h"

#include <bank.hh>
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>

#include "examples/bank/bank_servants.h"

namespace {

constexpr const char* ACCOUNTS = "Bank/Accounts";
constexpr const char* AUDIT = "Bank/Audit";

// Under another name first, so that nobody reads half of it.
void write_file(const std::filesystem::path& file, const std::string& line) {
  std::filesystem::create_directories(file.parent_path());
  const std::string unfinished = file.string() + ".new";
  std::ofstream out(unfinished);
  out << line << '\n';
  out.close();
  if (!out) throw std::runtime_error("cannot write " + unfinished);
  std::filesystem::rename(unfinished, file);
}

}  // namespace

BankPoas::BankPoas(CORBA::ORB_ptr orb) : m_orb(CORBA::ORB::_duplicate(orb)) {
  const auto ledger = std::make_shared<Ledger>();
  m_accounts = new AccountServant(orb, ledger);
  m_audit = new AuditServant(ledger);
  CORBA::Object_var object = orb->resolve_initial_references("RootPOA");
  m_root = PortableServer::POA::_narrow(object);
  const PortableServer::POAManager_var manager = m_root->the_POAManager();
  manager->activate();
}

bool BankPoas::create(PoaLocator::LocatorRegistration& registration, const std::string& path) const {
  if (path != ACCOUNTS && path != AUDIT) return false;
  const PortableServer::Servant servant = path == ACCOUNTS ? m_accounts.in() : m_audit.in();
  CORBA::PolicyList policies;
  policies.length(2);
  policies[0] = m_root->create_request_processing_policy(PortableServer::USE_DEFAULT_SERVANT);
  policies[1] = m_root->create_id_uniqueness_policy(PortableServer::MULTIPLE_ID);
  const PortableServer::POA_var poa = registration.create_poa(
      path, policies, [servant](PortableServer::POA_ptr created) { created->set_servant(servant); });
  return true;
}

void BankPoas::create_all(PoaLocator::LocatorRegistration& registration) const {
  for (const char* path : {ACCOUNTS, AUDIT}) create(registration, path);
}

void BankPoas::write_references(const PoaLocator::LocatorRegistration& registration,
                                const std::vector<std::string>& accounts, const std::string& folder) const {
  const auto write = [&](const std::string& name, CORBA::Object_ptr reference) {
    const CORBA::String_var text = m_orb->object_to_string(reference);
    write_file(std::filesystem::path(folder) / (name + ".ior"), text.in());
  };
  for (const std::string& owner : accounts) {
    const CORBA::Object_var account = registration.mint(ACCOUNTS, owner, Bank::Account::_PD_repoId);
    write(owner, account);
  }
  const CORBA::Object_var ledger = registration.mint(AUDIT, "ledger", Bank::Audit::_PD_repoId);
  write("ledger", ledger);
}
