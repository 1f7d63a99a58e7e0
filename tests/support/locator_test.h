// The fixture of most system tests: a directory and a locator in it, not yet started.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/giop_client.h"
#include "tests/support/locator.h"
#include "tests/support/test_dir.h"

namespace support {

// At the end a locator that still runs must end well when it is asked to.
class LocatorTest : public ::testing::Test {
 protected:
  void TearDown() override;

  GiopClient connect() const { return GiopClient(m_locator.host(), Locator::FRONT_DOOR); }

  TestDir m_dir;
  Locator m_locator{m_dir};
};

// CORBA's exceptions as a Reply carries them.
::testing::AssertionResult is_exception(const Reply& reply, const std::string& name, std::uint32_t minor);
// With any minor code.
::testing::AssertionResult is_object_not_exist(const Reply& reply);
::testing::AssertionResult is_forward(const Reply& reply, const std::string& host, unsigned port, const Octets& key);

// Vendor minor codes of the locator.
constexpr std::uint32_t minor_code(std::uint32_t number) {
  return 0x515A0C00 + number;
}

// Every version in both byte orders, and in GIOP 1.2 every way to name the target.
std::vector<RequestSpec> every_kind_of_request(const Octets& key);
std::string name_of(const RequestSpec& spec);

}  // namespace support
