// The fixture of the tests of the host's administration, called over the wire.
#pragma once

#include <poa_imr_admin.hh>
#include <qz_imr_admin.hh>
#include <qz_locator_admin.hh>

#include <optional>
#include <string>
#include <vector>

#include "tests/support/corba_side.h"
#include "tests/support/locator_test.h"
#include "tests/support/object_key.h"
#include "tests/support/wait.h"

using Words = std::vector<std::string>;

class AdminTest : public support::LocatorTest {
 protected:
  void SetUp() override { m_locator.start(); }
  void restart() {
    m_locator.terminate();
    m_locator.start();
  }

  QZ_IMRAdmin::ProcessRegistry_var processes() const {
    return support::resolve<QZ_IMRAdmin::ProcessRegistry>(m_locator, QZ_IMRAdmin::PROCESS_REGISTRY);
  }
  QZ_IMRAdmin::ORBRegistry_var orbs() const {
    return support::resolve<QZ_IMRAdmin::ORBRegistry>(m_locator, QZ_IMRAdmin::ORB_REGISTRY);
  }
  QZ_IMRAdmin::Repository_var repository() const {
    return support::resolve<QZ_IMRAdmin::Repository>(m_locator, QZ_IMRAdmin::REPOSITORY_ADMIN);
  }
  QZ_POAIMRAdmin::POARegistry_var poas() const {
    return support::resolve<QZ_POAIMRAdmin::POARegistry>(m_locator, QZ_POAIMRAdmin::POA_REGISTRY);
  }

  QZ_IMRAdmin::Process_var add_process(const std::string& name, const Words& argv = {"/bin/true"}) const;
  QZ_IMRAdmin::ORB_var add_orb(const std::string& name, const std::string& process = "") const;
  // Of the ORB, with the persistent POAs above it.
  void add_poa(const std::string& path, const std::string& orb = "") const;

  Words process_names() const;
  Words orb_names() const;
  // "PATH ORB", in the order of the paths; without the root.
  Words poa_entries() const;
  // "(none)" when there is no such ORB.
  std::string process_of(const std::string& orb) const;
};

QZ_IMRAdmin::ProcessInfo process_info(const std::string& name, const Words& argv = {"/bin/true"});
QZ_LocationCommon::ORBInfo orb_info(const std::string& name, const std::string& process = "");
QZ_IMRAdmin::POAEntry poa_entry(const std::string& path, const std::string& orb = "");
QZ_POAIMRAdmin::FullyQualifiedName full_name(const std::string& path);

template <class List, class Entry>
void append(List& list, const Entry& entry) {
  list.length(list.length() + 1);
  list[list.length() - 1] = entry;
}

// All pages of a list operation, as name_of has the entries.
template <class Operation, class NameOf>
Words all_pages(Operation list, CORBA::ULong how_many, NameOf name_of) {
  Words result;
  CORBA::String_var position = CORBA::string_dup("");
  do {
    CORBA::String_var next;
    auto page = list(position.in(), how_many, next.out());
    EXPECT_LE(page->length(), how_many);
    for (CORBA::ULong i = 0; i < page->length(); ++i) result.push_back(name_of(page[i]));
    position = next;
  } while (*position);
  return result;
}

// What HasReferences lists; nothing when the function raises no such exception.
template <class Function>
std::optional<Words> references_of(Function function) {
  try {
    function();
  } catch (const QZ_LocationCommon::HasReferences& e) {
    Words result;
    for (CORBA::ULong i = 0; i < e.references.length(); ++i) result.emplace_back(e.references[i].in());
    return result;
  }
  return std::nullopt;
}

// "MEMBER REASON" of InvalidValue; empty when the function raises no such exception.
template <class Function>
std::string invalid_value(Function function) {
  try {
    function();
  } catch (const QZ_IMRAdmin::InvalidValue& e) {
    return std::string(e.member.in()) + " " + e.reason.in();
  }
  return {};
}
