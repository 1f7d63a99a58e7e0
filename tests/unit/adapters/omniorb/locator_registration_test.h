// A server's registration against the fake locator.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "adapters/omniorb/locator_registration.h"
#include "tests/support/test_orb.h"
#include "tests/unit/adapters/omniorb/fake_locator.h"

inline bool wait_until(const std::function<bool()>& condition) {
  const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > limit) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

inline std::string error_of(const std::function<void()>& action) {
  try {
    action();
    return "no error";
  } catch (const PoaLocator::RegistrationError& error) {
    return error.what();
  }
}

class LocatorRegistrationTest : public ::testing::Test {
 protected:
  LocatorRegistrationTest() {
    m_options.url = test_orb::url();
    m_options.orb_name = "bank-orb";
    m_options.watch_interval = std::chrono::milliseconds(0);
    m_options.leave_grace = std::chrono::milliseconds(0);
    m_options.report = [this](const std::string& sentence) {
      const std::lock_guard lock(m_mutex);
      m_reports.push_back(sentence);
    };
  }
  // What an ORB's end does: POAs go only then. The POA of the fake locator is one of them.
  ~LocatorRegistrationTest() override {
    PortableServer::POAList_var children = test_orb::root_poa()->the_children();
    for (CORBA::ULong i = 0; i < children->length(); ++i) {
      const CORBA::String_var name = children[i]->the_name();
      if (std::string(name) != "omniINSPOA") children[i]->destroy(true, true);
    }
  }

  std::unique_ptr<PoaLocator::LocatorRegistration> registration(
      PoaLocator::LocatorRegistration::ActivationCallback on_activate = {}) {
    return std::make_unique<PoaLocator::LocatorRegistration>(test_orb::orb(), m_options, std::move(on_activate));
  }
  void create(PoaLocator::LocatorRegistration& registration, const std::string& path) {
    PortableServer::POA_var poa = registration.create_poa(path, {}, {});
  }
  // A server of another ORB that has registered the POA, and leaves its name in this process to another POA.
  std::unique_ptr<PoaLocator::LocatorRegistration> other_server_with(const std::string& path) {
    const std::string own_name = std::exchange(m_options.orb_name, "other-orb");
    auto other = registration();
    create(*other, path);
    m_options.orb_name = own_name;
    PortableServer::POA_var poa = test_orb::root_poa()->find_POA(path.c_str(), false);
    poa->destroy(true, true);
    return other;
  }
  std::vector<std::string> reports() {
    const std::lock_guard lock(m_mutex);
    return m_reports;
  }

  FakeLocator m_locator;
  PoaLocator::LocatorOptions m_options;

 private:
  std::mutex m_mutex;  // guards m_reports
  std::vector<std::string> m_reports;
};
