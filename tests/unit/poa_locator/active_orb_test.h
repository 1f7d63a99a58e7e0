// What the tests of active ORBs share.
#pragma once

#include <gmock/gmock.h>

#include <string>
#include <utility>
#include <vector>

#include "tests/unit/poa_locator/active_fixture.h"

class ActiveOrbTest : public ActiveFixture {
 protected:
  const Names m_bank{"Bank"};
  const Names m_shop{"Shop"};
  TestActivator* m_activator = nullptr;

  void add_activator(const std::string& orb_name, QZ_POA_PersistentServer::EndpointActivator_ptr activator) {
    activator_registry()->add(orb_name.c_str(), activator, QZ_POA_PersistentServer::EndpointIdList_var().out());
  }
  void add_activator(const std::string& orb_name, TestActivator::Function function = nullptr) {
    add_activator(orb_name, make_activator(m_activator, std::move(function)));
  }
  bool activated(std::size_t times) {
    return support::wait_until([&] { return m_activator->calls().size() >= times; });
  }
  std::vector<unsigned> event_ids() {
    std::vector<unsigned> ids;
    for (const support::Event& event : log().events()) ids.push_back(event.id);
    return ids;
  }
  std::size_t number_awaiting(const POAActiveORBRegistry::Handle& orb) {
    QZ_RecursiveMutexLock lock(orb->impl_mutex());
    return orb->m_awaiting_activation.size();
  }
  QZ_LocatorInternal::ActiveORB_var host_entry(const char* name) {
    const QZ_LocatorInternal::ActiveORBRegistry_var table = host().locator().active_orb_registry();
    return table->find(name);
  }
};
