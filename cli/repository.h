// What several groups of verbs ask of the repository. Exceptions of the calls pass.
#pragma once

#include <poa_imr_admin.hh>
#include <qz_imr_admin.hh>
#include <qz_locator_admin.hh>

#include <map>
#include <string>
#include <vector>

#include "cli/connection.h"

namespace poaloc {

// Failure (NOT_FOUND) when there is none of that name.
QZ_POAIMRAdmin::POA_var find_poa(Connection& connection, const CORBA::StringSeq& name);
QZ_IMRAdmin::ORB_var find_orb(Connection& connection, const std::string& name);
QZ_IMRAdmin::Process_var find_process(Connection& connection, const std::string& name);

// The entry of the repository, read attribute by attribute.
QZ_IMRAdmin::POAEntry entry_of(QZ_POAIMRAdmin::POA_ptr poa, const CORBA::StringSeq& name);

// use(entry) for each POA, those above before those below; the root first.
template <class Use>
void for_each_poa(Connection& connection, Use use);

// What runs, by name.
std::map<std::string, QZ_LocatorAdmin::ActiveORBInfo> active_orbs(Connection& connection);
std::map<std::string, QZ_LocatorAdmin::ActiveProcessInfo> active_processes(Connection& connection);

// "starting", "running", ...
const char* state_text(QZ_LocatorAdmin::ProcessState state);

// Asks, and destroys; HasReferences becomes a failure that lists what is in the way. what: as in "ORB bank".
template <class Entry>
void destroy_entry(Entry& entry, const std::string& what, QZ_LocationCommon::DestroyType type);

// The refusal that InvalidValue stands for. what: "ORB" or "process".
[[noreturn]] void fail_invalid(const std::string& what, const QZ_IMRAdmin::InvalidValue& refusal);

// The refusal that HasReferences stands for.
[[noreturn]] void fail_references(const std::string& what, const QZ_LocationCommon::ReferenceList& references);

}  // namespace poaloc

#include "cli/pages.h"

namespace poaloc {

template <class Use>
void for_each_poa(Connection& connection, Use use) {
  const auto repository = connection.resolve<QZ_IMRAdmin::Repository>(QZ_IMRAdmin::REPOSITORY_ADMIN);
  for_each_entry([&](auto&&... arguments) { return repository->list_poas(arguments...); }, use);
}

template <class Entry>
void destroy_entry(Entry& entry, const std::string& what, QZ_LocationCommon::DestroyType type) {
  try {
    entry->destroy(type);
  } catch (const QZ_LocationCommon::HasReferences& refusal) {
    fail_references(what, refusal.references);
  }
}

}  // namespace poaloc
