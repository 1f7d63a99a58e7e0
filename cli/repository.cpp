#include "cli/repository.h"

#include "cli/failure.h"
#include "cli/poa_name.h"
#include "cli/text.h"

namespace poaloc {

namespace {

[[noreturn]] void fail_not_found(const std::string& kind, const std::string& name, const std::string& verb) {
  throw Failure(NOT_FOUND, "There is no " + kind + " \"" + printable(name) + "\": \"poaloc " + verb +
                               " list\" shows what there is.");
}

}  // namespace

QZ_POAIMRAdmin::POA_var find_poa(Connection& connection, const CORBA::StringSeq& name) {
  const auto registry = connection.resolve<QZ_POAIMRAdmin::POARegistry>(QZ_POAIMRAdmin::POA_REGISTRY);
  QZ_POAIMRAdmin::POA_var poa = registry->find(name);
  if (CORBA::is_nil(poa)) fail_not_found("POA", poa_name_text(name), "poa");
  return poa;
}

QZ_IMRAdmin::ORB_var find_orb(Connection& connection, const std::string& name) {
  const auto registry = connection.resolve<QZ_IMRAdmin::ORBRegistry>(QZ_IMRAdmin::ORB_REGISTRY);
  QZ_IMRAdmin::ORB_var orb = registry->find(name.c_str());
  if (CORBA::is_nil(orb)) fail_not_found("ORB", name, "orb");
  return orb;
}

QZ_IMRAdmin::Process_var find_process(Connection& connection, const std::string& name) {
  const auto registry = connection.resolve<QZ_IMRAdmin::ProcessRegistry>(QZ_IMRAdmin::PROCESS_REGISTRY);
  QZ_IMRAdmin::Process_var process = registry->find(name.c_str());
  if (CORBA::is_nil(process)) fail_not_found("process", name, "process");
  return process;
}

QZ_IMRAdmin::POAEntry entry_of(QZ_POAIMRAdmin::POA_ptr poa, const CORBA::StringSeq& name) {
  QZ_IMRAdmin::POAEntry entry;
  entry.name = name;
  entry.persistent = poa->persistent();
  entry.allow_dynamic_registration = poa->allow_dynamic_registration();
  entry.orb_name = poa->orb_name();
  return entry;
}

std::map<std::string, QZ_LocatorAdmin::ActiveORBInfo> active_orbs(Connection& connection) {
  const auto registry = connection.resolve<QZ_LocatorAdmin::ActiveORBRegistry>(QZ_LocatorAdmin::ACTIVE_ORB_REGISTRY);
  std::map<std::string, QZ_LocatorAdmin::ActiveORBInfo> result;
  for_each_entry([&](auto&&... arguments) { return registry->list(arguments...); },
                 [&](const auto& info) { result.emplace(info.name.in(), info); });
  return result;
}

std::map<std::string, QZ_LocatorAdmin::ActiveProcessInfo> active_processes(Connection& connection) {
  const auto registry =
      connection.resolve<QZ_LocatorAdmin::ActiveProcessRegistry>(QZ_LocatorAdmin::ACTIVE_PROCESS_REGISTRY);
  std::map<std::string, QZ_LocatorAdmin::ActiveProcessInfo> result;
  for_each_entry([&](auto&&... arguments) { return registry->list(arguments...); },
                 [&](const auto& info) { result.emplace(info.name.in(), info); });
  return result;
}

const char* state_text(QZ_LocatorAdmin::ProcessState state) {
  switch (state) {
    case QZ_LocatorAdmin::PROCESS_STARTING:
      return "starting";
    case QZ_LocatorAdmin::PROCESS_RUNNING:
      return "running";
    case QZ_LocatorAdmin::PROCESS_LEAVING:
      return "leaving";
    default:
      return "stopped";
  }
}

void fail_invalid(const std::string& what, const QZ_IMRAdmin::InvalidValue& refusal) {
  throw Failure(USAGE, "The " + std::string(refusal.member.in()) + " of the " + what + " " +
                           printable(refusal.reason.in()) + "; correct that.");
}

void fail_references(const std::string& what, const QZ_LocationCommon::ReferenceList& references) {
  constexpr CORBA::ULong SHOWN = 10;
  std::string list;
  for (CORBA::ULong i = 0; i < references.length() && i < SHOWN; ++i)
    list += (i ? ", " : "") + printable(references[i].in());
  if (references.length() > SHOWN) list += " and " + std::to_string(references.length() - SHOWN) + " more";
  throw Failure(REFUSED, what + " is in use by " + list +
                             ": remove these first, detach them with --force, or remove them too with --deep.");
}

}  // namespace poaloc
