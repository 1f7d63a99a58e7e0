#include "platform/binding/prefix_routes.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "tests/unit/platform/binding/interceptors.h"

namespace test {
namespace {

using QZ_Binding::PrefixRoutes;
using QZ_Binding::Route;
using QZ_IOR::IOREndpointImpl;

std::shared_ptr<const Route> route(const std::string& prefix) {
  QZ_Binding::ServerRequestInterceptor_var interceptor = new FunctionInterceptor([](const Pending&) {});
  return std::make_shared<Route>(prefix, interceptor, QZ_Binding::DISPATCH_INLINE);
}

std::string found(const PrefixRoutes& routes, const std::string& key) {
  const Octets bytes = octets(key);
  const auto result = routes.find(bytes);
  return result ? result->prefix() : "none";
}

void forward(PrefixRoutes& routes, const std::shared_ptr<const Route>& route, const std::string& key_prefix) {
  IOREndpointImpl* endpoint = IOREndpointImpl::of_addresses({{"server.example", 4711}}, octets(key_prefix));
  const QZ_IOR::IOREndpoint_var owner = endpoint;
  routes.set_forward(route, endpoint);
}

// The object key in the reference that requests are forwarded to.
std::string forwarded(const PrefixRoutes& routes, const std::string& key) {
  std::string result = "nowhere";
  const Octets bytes = octets(key);
  const bool told = routes.with_forward(bytes, [&](const QZ_IOR::ProfileList& profiles, PrefixRoutes::Octets rest) {
    const auto prefix = profiles.first_keyed()->key_prefix;
    result.assign(prefix.begin(), prefix.end());
    result.append(rest.begin(), rest.end());
  });
  EXPECT_EQ(told, result != "nowhere");
  return result;
}

TEST(PrefixRoutes, LongestPrefixWins) {
  PrefixRoutes routes;
  const std::string domain = key_of({"QP", "domain"});
  const std::string endpoint = key_of({"QP", "domain", "a"});
  ASSERT_TRUE(routes.add(route(domain)));
  ASSERT_TRUE(routes.add(route(endpoint)));
  EXPECT_EQ(found(routes, endpoint), endpoint);
  EXPECT_EQ(found(routes, endpoint + "object id"), endpoint);
  EXPECT_EQ(found(routes, key_of({"QP", "domain", "b"}, "object id")), domain);
  EXPECT_EQ(found(routes, domain), domain);
  EXPECT_EQ(found(routes, domain + "x"), domain);
  EXPECT_EQ(found(routes, key_of({"QP", "other", "a"})), "none");
  EXPECT_EQ(found(routes, key_of({"QP"})), "none");
  EXPECT_EQ(found(routes, "EndpointRegistry"), "none");
}

TEST(PrefixRoutes, SegmentsAreComparedWhole) {
  PrefixRoutes routes;
  ASSERT_TRUE(routes.add(route(key_of({"QP", "domain", "ab"}))));
  EXPECT_EQ(found(routes, key_of({"QP", "domain", "abc"})), "none");
  EXPECT_EQ(found(routes, key_of({"QP", "domain", "a"})), "none");
  EXPECT_EQ(found(routes, key_of({"QP", "domai", "nab"})), "none");
}

// What follows the endpoint may look like a further segment.
TEST(PrefixRoutes, ObjectIdsDoNotMatter) {
  PrefixRoutes routes;
  const std::string endpoint = key_of({"QP", "", ""});
  ASSERT_TRUE(routes.add(route(endpoint)));
  EXPECT_EQ(found(routes, endpoint + key_of({"x", "y"})), endpoint);
  EXPECT_EQ(found(routes, endpoint + std::string("\0\0\0", 3)), endpoint);
  EXPECT_EQ(found(routes, endpoint + "\xff\xff\xff\xff"), endpoint);
}

TEST(PrefixRoutes, KeyWithoutOctetsGoesToADomain) {
  PrefixRoutes routes;
  EXPECT_EQ(found(routes, ""), "none");
  ASSERT_TRUE(routes.add(route(key_of({"QP", "domain", "a"}))));
  EXPECT_EQ(found(routes, ""), "none");
  const std::string domain = key_of({"QP", "domain"});
  ASSERT_TRUE(routes.add(route(domain)));
  EXPECT_EQ(found(routes, ""), domain);
}

TEST(PrefixRoutes, PrefixIsTakenOnce) {
  PrefixRoutes routes;
  const auto first = route(key_of({"QP", "domain"}));
  const auto second = route(key_of({"QP", "domain"}));
  ASSERT_TRUE(routes.add(first));
  EXPECT_FALSE(routes.add(second));
  routes.remove(*second);
  EXPECT_EQ(found(routes, key_of({"QP", "domain"})), first->prefix()) << "only the route that is there is removed";
  routes.remove(*first);
  EXPECT_EQ(found(routes, key_of({"QP", "domain"})), "none");
  EXPECT_TRUE(routes.add(second));
}

TEST(PrefixRoutes, ForwardsKeysThatAreLongerThanThePrefix) {
  PrefixRoutes routes;
  const auto endpoint = route(key_of({"QP", "domain", "a"}));
  ASSERT_TRUE(routes.add(endpoint));
  EXPECT_EQ(forwarded(routes, endpoint->prefix() + "x"), "nowhere");
  forward(routes, endpoint, "one/");
  EXPECT_EQ(forwarded(routes, endpoint->prefix() + "x"), "one/x");
  EXPECT_EQ(forwarded(routes, endpoint->prefix()), "nowhere");
  EXPECT_EQ(forwarded(routes, ""), "nowhere");
  forward(routes, endpoint, "two/");
  EXPECT_EQ(forwarded(routes, endpoint->prefix() + "x"), "two/x");
  EXPECT_EQ(found(routes, endpoint->prefix() + "x"), endpoint->prefix());
  routes.set_forward(endpoint, nullptr);
  EXPECT_EQ(forwarded(routes, endpoint->prefix() + "x"), "nowhere");
  forward(routes, endpoint, "three/");
  EXPECT_EQ(forwarded(routes, endpoint->prefix() + "x"), "three/x");
}

TEST(PrefixRoutes, MayForwardFromTheBeginning) {
  PrefixRoutes routes;
  const auto endpoint = route(key_of({"QP", "domain", "a"}));
  IOREndpointImpl* const live = IOREndpointImpl::of_addresses({{"server.example", 4711}}, octets("live/"));
  const QZ_IOR::IOREndpoint_var owner = live;
  ASSERT_TRUE(routes.add(endpoint, live));
  EXPECT_EQ(forwarded(routes, endpoint->prefix() + "x"), "live/x");
  EXPECT_FALSE(routes.add(route(endpoint->prefix()), nullptr));
  EXPECT_EQ(forwarded(routes, endpoint->prefix() + "x"), "live/x") << "a route that was refused has changed another's";
  routes.set_forward(endpoint, nullptr);
  EXPECT_EQ(forwarded(routes, endpoint->prefix() + "x"), "nowhere");
}

TEST(PrefixRoutes, ForwardOfAShorterPrefixIsNotThatOfALongerOne) {
  PrefixRoutes routes;
  const auto domain = route(key_of({"QP", "domain"}));
  const auto endpoint = route(key_of({"QP", "domain", "a"}));
  ASSERT_TRUE(routes.add(domain));
  ASSERT_TRUE(routes.add(endpoint));
  forward(routes, domain, "domain/");
  EXPECT_EQ(forwarded(routes, domain->prefix() + "x"), "domain/x");
  EXPECT_EQ(forwarded(routes, endpoint->prefix() + "x"), "nowhere");
  forward(routes, endpoint, "endpoint/");
  EXPECT_EQ(forwarded(routes, endpoint->prefix() + "x"), "endpoint/x");
  routes.remove(*endpoint);
  EXPECT_EQ(forwarded(routes, endpoint->prefix() + "x"),
            "domain/" + endpoint->prefix().substr(domain->prefix().size()) + "x");
}

TEST(PrefixRoutes, ForwardIsLeftAloneByRoutesThatHaveThePrefixNoMore) {
  PrefixRoutes routes;
  const auto first = route(key_of({"QP", "domain", "a"}));
  const auto second = route(first->prefix());
  const std::string key = first->prefix() + "x";
  ASSERT_TRUE(routes.add(first));
  forward(routes, first, "first/");
  routes.remove(*first);
  forward(routes, first, "late/");
  EXPECT_EQ(forwarded(routes, key), "nowhere");
  EXPECT_EQ(found(routes, key), "none");
  ASSERT_TRUE(routes.add(second));
  EXPECT_EQ(forwarded(routes, key), "nowhere");
  forward(routes, first, "late/");
  EXPECT_EQ(forwarded(routes, key), "nowhere");
  forward(routes, second, "second/");
  forward(routes, first, "late/");
  EXPECT_EQ(forwarded(routes, key), "second/x");
  routes.set_forward(first, nullptr);
  EXPECT_EQ(forwarded(routes, key), "second/x");
}

TEST(PrefixRoutes, RefusesWhatIsNotWholeSegments) {
  PrefixRoutes routes;
  for (const std::string& bad :
       {std::string(), std::string("QP"), key_of({"QP", "domain"}) + "x", key_of({"a", "b", "c", "d", "e"})}) {
    EXPECT_THROW(routes.add(route(bad)), std::invalid_argument);
  }
}

TEST(PrefixRoutes, FindsEachOfManyEndpoints) {
  PrefixRoutes routes;
  const auto prefix = [](int i) { return key_of({"QP", "domain", "poa" + std::to_string(i) + std::string(1, '\0')}); };
  constexpr int COUNT = 100'000;
  QZ_Binding::ServerRequestInterceptor_var interceptor = new FunctionInterceptor([](const Pending&) {});
  std::vector<std::shared_ptr<const Route>> all;
  for (int i = 0; i < COUNT; ++i) {
    all.push_back(std::make_shared<Route>(prefix(i), interceptor, QZ_Binding::DISPATCH_INLINE));
    ASSERT_TRUE(routes.add(all.back()));
  }
  for (int i = 0; i < COUNT; i += 7) ASSERT_EQ(found(routes, prefix(i) + "object"), prefix(i));
  for (const auto& one : all) routes.remove(*one);
  EXPECT_EQ(found(routes, prefix(0)), "none");
}

TEST(PrefixRoutes, ReadersFindWhatStaysWhileOthersComeAndGo) {
  PrefixRoutes routes;
  const std::string stays = key_of({"QP", "domain", "stays"});
  ASSERT_TRUE(routes.add(route(stays)));
  std::atomic<bool> stop{false};
  std::atomic<int> misses{0}, reads{0};
  std::vector<std::thread> readers;
  for (int i = 0; i < 3; ++i) {
    readers.emplace_back([&] {
      while (!stop) {
        if (found(routes, stays + "object") != stays) ++misses;
        ++reads;
      }
    });
  }
  for (int i = 0; i < 2000 || reads < 1000; ++i) {
    const auto passing = route(key_of({"QP", "domain", "passes" + std::to_string(i % 50)}));
    ASSERT_TRUE(routes.add(passing));
    routes.remove(*passing);
  }
  stop = true;
  for (auto& reader : readers) reader.join();
  EXPECT_EQ(misses, 0);
}

}  // namespace
}  // namespace test
