#include "examples/bank/bank_servants.h"

#include <unistd.h>

AccountServant::AccountServant(CORBA::ORB_ptr orb, std::shared_ptr<Ledger> ledger) : m_ledger(std::move(ledger)) {
  CORBA::Object_var object = orb->resolve_initial_references("POACurrent");
  m_current = PortableServer::Current::_narrow(object);
}

std::string AccountServant::current_owner() const {
  PortableServer::ObjectId_var id = m_current->get_object_id();
  return {reinterpret_cast<const char*>(id->get_buffer()), id->length()};
}

CORBA::ULong AccountServant::server_pid() {
  return static_cast<CORBA::ULong>(getpid());
}

char* AccountServant::owner() {
  return CORBA::string_dup(current_owner().c_str());
}

CORBA::LongLong AccountServant::balance() {
  return m_ledger->balance(current_owner());
}

CORBA::LongLong AccountServant::deposit(CORBA::LongLong amount) {
  const std::string owner = current_owner();
  if (!m_ledger->deposit(owner, amount)) throw Bank::BadAmount();
  return m_ledger->balance(owner);
}

CORBA::ULong AuditServant::server_pid() {
  return static_cast<CORBA::ULong>(getpid());
}

CORBA::ULong AuditServant::deposits() {
  return m_ledger->deposits();
}
