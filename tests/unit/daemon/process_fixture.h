// A host with real processes, which end with the test.
#pragma once

#include <signal.h>

#include <string>
#include <vector>

#include "daemon/locator_store.h"
#include "daemon/store_query.h"
#include "tests/unit/daemon/fake_active_orb.h"
#include "tests/unit/daemon/host_fixture.h"

class ProcessTest : public HostFixture {
 protected:
  ~ProcessTest() override {
    if (!m_host) return;
    for (const auto& pid : pids_started()) kill(-pid, SIGKILL);
  }

  std::vector<pid_t> pids_started() const {
    std::vector<pid_t> result;
    for (const auto& event : events(poalocd::PROCESS_STARTED_EVENT))
      result.push_back(std::stoi(event.parameters.at(1)));
    return result;
  }

  // An ORB of that name, attached to its process.
  FakeOrb attach(const std::string& process_name, const std::string& orb_name) {
    auto attached_to = process(process_name);
    auto orb = make_orb(orb_name, attached_to);
    attached_to->add_orb(orb.get());
    return orb;
  }
  FakeOrb attach(const std::string& name) { return attach(name, name); }

  std::string start_failure(const std::string& name) {
    try {
      process(name)->start();
    } catch (const QZ_LocatorInternal::StartFailed& e) {
      return e.reason.in();
    }
    return "none";
  }

  // Names of the processes that the store has a record of.
  std::vector<std::string> recorded() {
    std::vector<std::string> result;
    QZ_PSS::TxSessionAssociation association(host().session_manager_nc(), QZ_PSS::READ_ONLY);
    poalocd::for_each_record<QZ_LocatorStore::ActiveProcessHome>(
        association, [&](const QZ_LocatorStore::ActiveProcessData& data) { result.push_back(data.name()); });
    return result;
  }
};
