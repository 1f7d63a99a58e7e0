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

std::shared_ptr<const Route> route(const std::string& prefix) {
  QZ_Binding::ServerRequestInterceptor_var interceptor = new FunctionInterceptor([](const Pending&) {});
  return std::make_shared<Route>(prefix, interceptor, QZ_Binding::DISPATCH_INLINE);
}

std::string found(const PrefixRoutes& routes, const std::string& key) {
  const Octets bytes = octets(key);
  const auto result = routes.find(bytes);
  return result ? result->prefix() : "none";
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
