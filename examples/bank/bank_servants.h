// Default servants: one for all objects of its POA, so that every account name has its object.
#pragma once

#include <bank.hh>
#include <memory>
#include <string>
#include <utility>

#include "examples/bank/ledger.h"

class AccountServant : public POA_Bank::Account {
 public:
  AccountServant(CORBA::ORB_ptr orb, std::shared_ptr<Ledger> ledger);

  CORBA::ULong server_pid() override;
  char* owner() override;
  CORBA::LongLong balance() override;
  CORBA::LongLong deposit(CORBA::LongLong amount) override;

 private:
  // Of the request that is being served.
  std::string current_owner() const;

  PortableServer::Current_var m_current;
  const std::shared_ptr<Ledger> m_ledger;
};

class AuditServant : public POA_Bank::Audit {
 public:
  explicit AuditServant(std::shared_ptr<Ledger> ledger) : m_ledger(std::move(ledger)) {}

  CORBA::ULong server_pid() override;
  CORBA::ULong deposits() override;

 private:
  const std::shared_ptr<Ledger> m_ledger;
};
