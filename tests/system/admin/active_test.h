// The fixture of the tests of the administration of what runs.
#pragma once

#include <poa_locator_admin.hh>

#include <future>

#include "tests/support/fake_server.h"
#include "tests/support/files.h"
#include "tests/system/admin/admin_test.h"

class ActiveTest : public AdminTest {
 protected:
  QZ_LocatorAdmin::ActiveProcessRegistry_var active_processes() const {
    return support::resolve<QZ_LocatorAdmin::ActiveProcessRegistry>(m_locator,
                                                                    QZ_LocatorAdmin::ACTIVE_PROCESS_REGISTRY);
  }
  QZ_LocatorAdmin::ActiveORBRegistry_var active_orbs() const {
    return support::resolve<QZ_LocatorAdmin::ActiveORBRegistry>(m_locator, QZ_LocatorAdmin::ACTIVE_ORB_REGISTRY);
  }
  QZ_POALocatorAdmin::ActivePOARegistry_var active_poas() const {
    return support::resolve<QZ_POALocatorAdmin::ActivePOARegistry>(m_locator, QZ_POALocatorAdmin::ACTIVE_POA_REGISTRY);
  }
  QZ_LocatorAdmin::Locator_var locator() const {
    return support::resolve<QZ_LocatorAdmin::Locator>(m_locator, QZ_LocatorAdmin::LOCATOR_ADMIN);
  }

  // A process of one ORB of the same name, and the shell script that it runs.
  QZ_LocatorAdmin::ActiveProcess_var add_script(const std::string& name, const std::string& script,
                                                CORBA::ULongLong stop_grace = 10'000) const {
    auto info = process_info(name, {"/bin/sh", "-c", script});
    info.stop_grace = stop_grace;
    info.log_file = log_file().c_str();
    QZ_IMRAdmin::Process_var(processes()->add(info));
    add_orb(name, name);
    return active_processes()->find(name.c_str());
  }
  std::string log_file() const { return m_dir.file("output.log"); }

  static QZ_LocatorAdmin::ActiveProcessInfo info_of(QZ_LocatorAdmin::ActiveProcess_ptr process) {
    return *QZ_LocatorAdmin::ActiveProcessInfo_var(process->info()).operator->();
  }
  static bool wait_for_state(QZ_LocatorAdmin::ActiveProcess_ptr process, QZ_LocatorAdmin::ProcessState state) {
    return support::wait_until([&] { return info_of(process).state == state; });
  }

  QZ_POALocatorAdmin::POAActiveORB_var poa_orb(const std::string& name) const {
    const QZ_LocatorAdmin::ActiveORB_var orb = active_orbs()->find(name.c_str());
    return QZ_POALocatorAdmin::POAActiveORB::_narrow(orb);
  }
};

// Takes over what an operation returns.
inline std::string text(char* value) {
  return CORBA::String_var(value).in();
}

// The system exception of that type which the function raises carries that minor code of the locator.
template <class Exception, class Function>
void expect_minor(std::uint32_t number, Function function) {
  try {
    function();
    FAIL() << "nothing was raised";
  } catch (const Exception& error) {
    EXPECT_EQ(error.minor(), support::minor_code(number));
    EXPECT_EQ(error.completed(), CORBA::COMPLETED_NO);
  }
}
