#include "tests/unit/adapters/omniorb/locator_registration_test.h"

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>

namespace {

using namespace std::chrono_literals;
using PoaLocator::LocatorOptions;
using PoaLocator::LocatorRegistration;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

TEST_F(LocatorRegistrationTest, takes_what_is_not_said_from_the_environment) {
  m_options.orb_name.clear();
  EXPECT_THAT(error_of([this] { registration(); }), HasSubstr("set POALOCATOR_ORB_NAME"));
  m_options.url.clear();
  EXPECT_THAT(error_of([this] { registration(); }), HasSubstr("set POALOCATOR_URL"));

  setenv("POALOCATOR_URL", (test_orb::url() + "/").c_str(), 1);
  setenv("POALOCATOR_ORB_NAME", "orb-of-environment", 1);
  setenv("POALOCATOR_DOMAIN", "domain-of-environment", 1);
  {
    const auto server = registration();
    EXPECT_THAT(error_of([&] { create(*server, "Bank"); }),
                HasSubstr("\"domain-of-environment\" is not the domain of the locator"));
  }
  unsetenv("POALOCATOR_URL");
  unsetenv("POALOCATOR_ORB_NAME");
  unsetenv("POALOCATOR_DOMAIN");
  EXPECT_THAT(m_locator.calls(), ElementsAre("add activator of orb-of-environment",
                                             "add an id that is none of the domain as orb-of-environment",
                                             "remove activator of orb-of-environment"));
}

TEST(LocatorConnection, needs_an_address_that_is_one) {
  LocatorOptions options;
  options.url = "localhost:2809";
  options.orb_name = "bank-orb";
  EXPECT_THAT(error_of([&] { LocatorRegistration(test_orb::orb(), options, {}); }), HasSubstr("corbaloc::HOST:PORT"));
}

TEST(LocatorConnection, needs_a_locator_at_the_address) {
  LocatorOptions options;
  options.orb_name = "bank-orb";
  options.url = "corbaloc::127.0.0.1:1";
  EXPECT_THAT(error_of([&] { LocatorRegistration(test_orb::orb(), options, {}); }), HasSubstr("does not answer"));
  options.url = test_orb::url();
  EXPECT_THAT(error_of([&] { LocatorRegistration(test_orb::orb(), options, {}); }),
              HasSubstr("has no EndpointRegistry"));
}

TEST(LocatorConnection, gives_up_on_a_locator_that_keeps_silent) {
  const int listener = socket(AF_INET, SOCK_STREAM, 0);
  ASSERT_GE(listener, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  ASSERT_EQ(bind(listener, reinterpret_cast<sockaddr*>(&address), size), 0);
  ASSERT_EQ(listen(listener, 1), 0);
  ASSERT_EQ(getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size), 0);

  LocatorOptions options;
  options.orb_name = "bank-orb";
  options.url = "corbaloc::127.0.0.1:" + std::to_string(ntohs(address.sin_port));
  options.call_timeout = 50ms;
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_THAT(error_of([&] { LocatorRegistration(test_orb::orb(), options, {}); }), HasSubstr("does not answer"));
  EXPECT_LT(std::chrono::steady_clock::now() - begin, 10s);
  close(listener);
}

}  // namespace
