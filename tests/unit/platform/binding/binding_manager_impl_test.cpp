#include "platform/binding/binding_manager_impl.h"

#include <gtest/gtest.h>

#include <thread>

#include "tests/unit/platform/binding/client.h"
#include "tests/unit/platform/binding/interceptors.h"
#include "tests/unit/platform/binding/test_orb.h"

namespace test {
namespace {

using QZ_Binding::DISPATCH_INLINE;
using QZ_Binding::DISPATCH_WORKER;

std::string text(const CORBA::OctetSeq& octets) {
  return std::string(octets.get_buffer(), octets.get_buffer() + octets.length());
}

class BindingManager : public ::testing::Test {
 protected:
  ~BindingManager() override { manager->_qz_remove_ref(); }

  // What an interceptor of the prefix has to do with such a key; false when nobody is registered for it.
  bool call(const std::string& key) {
    const Octets bytes = octets(key);
    const auto route = manager->find_route(bytes);
    const auto who = route ? route->enter() : nullptr;
    if (!who) return false;
    who->invoke(QZ_Binding::ServerRequestData::_nil(), QZ_Binding::ServerRequestCallback::_nil());
    return true;
  }

  QZ_Binding::BindingManagerImpl* const manager = new QZ_Binding::BindingManagerImpl;
  const std::string prefix = key_of({"QP", "domain", "a"});
};

// An interceptor that looks at no data.
class Bare : public virtual QZ_Binding::ServerRequestInterceptor, public QZ_CORBA::RefCountedLocalObject {
 public:
  explicit Bare(std::function<void()> function) : m_function(std::move(function)) { ++alive; }
  char* name() override { return CORBA::string_dup("bare"); }
  QZ_Binding::ServerRequestInterceptor_ptr next_interceptor() override {
    return QZ_Binding::ServerRequestInterceptor::_nil();
  }
  void invoke(QZ_Binding::ServerRequestData_ptr, QZ_Binding::ServerRequestCallback_ptr) override { m_function(); }
  void locate(QZ_Binding::ServerLocateRequestData_ptr, QZ_Binding::ServerRequestCallback_ptr) override { m_function(); }
  static inline std::atomic<int> alive{0};

 protected:
  ~Bare() override { --alive; }

 private:
  const std::function<void()> m_function;
};

QZ_Binding::ServerBinding_var bind_bare(QZ_Binding::BindingManager& manager, const std::string& prefix,
                                        std::function<void()> function) {
  QZ_Binding::ServerRequestInterceptor_var interceptor = new Bare(std::move(function));
  return manager.register_interceptor(octet_seq(prefix), interceptor, DISPATCH_INLINE, QZ_IOR::IOREndpoint::_nil());
}

TEST_F(BindingManager, FramesSegmentsByFourOctetLengths) {
  CORBA::OctetSeq key = octet_seq("rubbish");
  manager->start_key(key);
  EXPECT_EQ(key.length(), 0u);
  manager->append_segment(key, octet_seq("QP"));
  manager->append_segment(key, octet_seq(""));
  manager->append_segment(key, octet_seq(std::string(300, 'x')));
  EXPECT_EQ(text(key), key_of({"QP", "", std::string(300, 'x')}));
}

TEST_F(BindingManager, FindsSegmentsByIndexAndByPosition) {
  const CORBA::OctetSeq key = octet_seq(key_of({"QP", "", "xyz"}, "object id"));
  CORBA::ULong offset = 0, length = 0;
  manager->segment(key, 0, offset, length);
  EXPECT_EQ(offset, 4u);
  EXPECT_EQ(length, 2u);
  manager->segment(key, 1, offset, length);
  EXPECT_EQ(offset, 10u);
  EXPECT_EQ(length, 0u);
  manager->segment(key, 2, offset, length);
  EXPECT_EQ(offset, 14u);
  EXPECT_EQ(length, 3u);
  manager->segment_at(key, 10, offset, length);
  EXPECT_EQ(offset, 14u);
  EXPECT_EQ(length, 3u);
}

TEST_F(BindingManager, RaisesInvObjrefWhereThereIsNoSegment) {
  CORBA::ULong offset, length;
  const CORBA::OctetSeq key = octet_seq(key_of({"QP", "domain"}, "xx"));
  EXPECT_THROW(manager->segment(key, 2, offset, length), CORBA::INV_OBJREF);
  EXPECT_THROW(manager->segment(key, 4'000'000'000u, offset, length), CORBA::INV_OBJREF);
  EXPECT_THROW(manager->segment_at(key, 4'000'000'000u, offset, length), CORBA::INV_OBJREF);
  EXPECT_THROW(manager->segment(octet_seq(""), 0, offset, length), CORBA::INV_OBJREF);
  EXPECT_THROW(manager->segment(octet_seq("\xff\xff\xff\xffxyz"), 0, offset, length), CORBA::INV_OBJREF);
  const std::string whole = key_of({"QP"});
  for (std::size_t size = 0; size < whole.size(); ++size) {
    EXPECT_THROW(manager->segment(octet_seq(whole.substr(0, size)), 0, offset, length), CORBA::INV_OBJREF);
  }
}

TEST_F(BindingManager, CallsGoToTheRegisteredInterceptorUntilItsBindingIsDestroyed) {
  int calls = 0;
  auto binding = bind_bare(*manager, prefix, [&] { ++calls; });
  EXPECT_TRUE(call(prefix + "object"));
  EXPECT_EQ(calls, 1);
  binding->destroy();
  EXPECT_FALSE(call(prefix + "object"));
  binding->destroy();
  EXPECT_EQ(calls, 1);
}

TEST_F(BindingManager, PrefixIsFreeAgainAfterDestroy) {
  auto first = bind_bare(*manager, prefix, [] {});
  EXPECT_THROW(bind_bare(*manager, prefix, [] {}), CORBA::BAD_INV_ORDER);
  first->destroy();
  auto second = bind_bare(*manager, prefix, [] {});
  first->destroy();
  EXPECT_TRUE(call(prefix)) << "the old binding has nothing to do with the new one";
}

TEST_F(BindingManager, ReleasingTheBindingUnregisters) {
  bind_bare(*manager, prefix, [] {});
  EXPECT_FALSE(call(prefix));
}

TEST_F(BindingManager, RefusesPrefixesThatAreNoSegments) {
  EXPECT_THROW(bind_bare(*manager, "QP", [] {}), CORBA::BAD_PARAM);
  EXPECT_THROW(manager->register_interceptor(octet_seq(prefix), QZ_Binding::ServerRequestInterceptor::_nil(),
                                             DISPATCH_WORKER, QZ_IOR::IOREndpoint::_nil()),
               CORBA::BAD_PARAM);
  EXPECT_EQ(Bare::alive, 0);
}

TEST_F(BindingManager, DestroyFromInsideACallKeepsTheInterceptorForIt) {
  QZ_Binding::ServerBinding_var binding;
  bool alive_inside = false;
  binding = bind_bare(*manager, prefix, [&] {
    binding->destroy();
    binding = QZ_Binding::ServerBinding::_nil();
    alive_inside = Bare::alive == 1;
  });
  EXPECT_TRUE(call(prefix));
  EXPECT_TRUE(alive_inside);
  EXPECT_EQ(Bare::alive, 0);
}

TEST_F(BindingManager, DestroyDoesNotWaitForARunningCall) {
  std::mutex held;
  std::atomic<bool> inside{false};
  auto binding = bind_bare(*manager, prefix, [&] {
    inside = true;
    std::lock_guard wanted(held);
  });
  std::unique_lock lock(held);
  std::thread caller([&] { call(prefix); });
  ASSERT_TRUE(eventually([&] { return inside.load(); }));
  binding->destroy();  // with a lock that the running call wants
  EXPECT_FALSE(call(prefix));
  EXPECT_EQ(Bare::alive, 1);
  lock.unlock();
  caller.join();
  binding = QZ_Binding::ServerBinding::_nil();
  EXPECT_EQ(Bare::alive, 0);
}

TEST_F(BindingManager, NoCallStartsAfterDestroyReturned) {
  for (int round = 0; round < 50; ++round) {
    std::atomic<bool> destroyed{false}, stop{false};
    std::atomic<int> late{0}, calls{0};
    auto binding = bind_bare(*manager, prefix, [&] { ++calls; });
    std::vector<std::thread> callers;
    for (int i = 0; i < 2; ++i) {
      callers.emplace_back([&] {
        while (!stop) {
          const bool was_destroyed = destroyed;
          if (call(prefix) && was_destroyed) ++late;
        }
      });
    }
    while (calls == 0) std::this_thread::yield();
    binding->destroy();
    destroyed = true;
    stop = true;
    for (auto& caller : callers) caller.join();
    ASSERT_EQ(late, 0);
  }
}

TEST_F(BindingManager, NamesAreForThoseWhoHaveTheRole) {
  QZ_IOR::IOR_var servers = ior_of("servers"), administrators = ior_of("administrators");
  manager->register_name("Name", servers, 0);
  manager->register_name("Name", administrators, 1);
  manager->register_name("Admin", administrators, 1);
  const auto find = [&](const std::string& name, std::vector<int> roles) {
    const Octets key = octets(name);
    QZ_IOR::IOR_var target = manager->find_name(key, roles);
    if (CORBA::is_nil(target)) return std::string("none");
    const auto object_key = dynamic_cast<QZ_IOR::IORImpl*>(target.in())->object_key();
    return std::string(object_key.begin(), object_key.end());
  };
  EXPECT_EQ(find("Name", {0}), "servers");
  EXPECT_EQ(find("Name", {1}), "administrators");
  EXPECT_EQ(find("Admin", {0}), "none");
  EXPECT_EQ(find("Admin", {0, 1}), "administrators");
  EXPECT_EQ(find("Nam", {0, 1}), "none");
  EXPECT_EQ(find("Name", {}), "none");
  manager->register_name("Name", administrators, 0);
  EXPECT_EQ(find("Name", {0}), "administrators");
  manager->unregister_name("Name");
  manager->unregister_name("Name");
  EXPECT_EQ(find("Name", {0, 1}), "none");
  EXPECT_THROW(manager->register_name("", servers, 0), CORBA::BAD_PARAM);
  EXPECT_THROW(manager->register_name("x", QZ_IOR::IOR::_nil(), 0), CORBA::BAD_PARAM);
}

TEST_F(BindingManager, EndpointHasThePublishedAddresses) {
  const auto nil = QZ_Binding::EffectivePolicies::_nil();
  EXPECT_THROW(manager->endpoint(octet_seq("prefix"), nil), CORBA::BAD_INV_ORDER);
  manager->set_addresses({{"one.example", 1}, {"two.example", 2}});
  const QZ_Binding::PolicyObjectList none;
  QZ_Binding::EffectivePolicies_var policies = manager->effective_policies(none);
  EXPECT_FALSE(CORBA::is_nil(policies));
  QZ_IOR::IOREndpoint_var endpoint = manager->endpoint(octet_seq("prefix"), policies);
  QZ_IOR::IOR_var ior = endpoint->make_ior(octet_seq("rest"), "IDL:Test:1.0");
  const auto* impl = dynamic_cast<QZ_IOR::IORImpl*>(ior.in());
  ASSERT_TRUE(impl);
  const auto key = impl->object_key();
  EXPECT_EQ(std::string(key.begin(), key.end()), "prefixrest");
  Octets encoded;
  impl->append_to(encoded, true);
  const std::string all(encoded.begin(), encoded.end());
  EXPECT_NE(all.find("one.example"), std::string::npos);
  EXPECT_NE(all.find("two.example"), std::string::npos);
}

TEST_F(BindingManager, ReferencesAndIorsConvertBothWays) {
  EXPECT_TRUE(CORBA::is_nil(manager->object_to_ior(CORBA::Object::_nil())));
  EXPECT_TRUE(CORBA::is_nil(manager->ior_to_object(QZ_IOR::IOR::_nil())));
  orb();
  QZ_IOR::IOR_var ior = ior_of("some key");
  CORBA::Object_var object = manager->ior_to_object(ior);
  ASSERT_FALSE(CORBA::is_nil(object));
  QZ_IOR::IOR_var again = manager->object_to_ior(object);
  const auto key = dynamic_cast<QZ_IOR::IORImpl*>(again.in())->object_key();
  EXPECT_EQ(std::string(key.begin(), key.end()), "some key");
}

}  // namespace
}  // namespace test
