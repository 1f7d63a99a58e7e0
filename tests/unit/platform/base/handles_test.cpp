#include <gtest/gtest.h>

#include <thread>
#include <utility>
#include <vector>

#include "platform/base/qz_body.h"
#include "platform/base/qz_handle.h"
#include "platform/base/ref_count_handle.h"
#include "platform/orb/ref_counted_local_object.h"

namespace {

class Body : public QZ_Body {
 public:
  explicit Body(int& destroyed) : m_destroyed(destroyed) {}
  int value = 0;

 protected:
  ~Body() override { ++m_destroyed; }

 private:
  int& m_destroyed;
};
using Handle = QZ_Handle<Body>;

class Local : public QZ_CORBA::RefCountedLocalObject {
 public:
  explicit Local(int& destroyed) : m_destroyed(destroyed) {}

 protected:
  ~Local() override { ++m_destroyed; }

 private:
  int& m_destroyed;
};
using LocalHandle = RefCountHandle<Local>;

TEST(Handle, is_null_until_it_is_given_a_body) {
  int destroyed = 0;
  Handle handle;
  EXPECT_TRUE(handle.is_null());
  handle = Handle(new Body(destroyed));
  EXPECT_FALSE(handle.is_null());
}

TEST(Handle, shares_one_body_and_destroys_it_once_with_the_last_copy) {
  int destroyed = 0;
  {
    Handle first(new Body(destroyed));
    {
      const Handle second = first;
      second->value = 7;
      Handle third;
      third = second;
      EXPECT_EQ((*third).value, 7);
    }
    EXPECT_EQ(first->value, 7);
    EXPECT_EQ(destroyed, 0);
  }
  EXPECT_EQ(destroyed, 1);
}

TEST(Handle, leaves_nothing_behind_when_moved_from) {
  int destroyed = 0;
  Handle first(new Body(destroyed));
  Handle second = std::move(first);
  EXPECT_TRUE(first.is_null());  // NOLINT(bugprone-use-after-move): that is what is asked
  second = Handle();
  EXPECT_EQ(destroyed, 1);
}

TEST(Handle, survives_assignment_to_itself) {
  int destroyed = 0;
  Handle handle(new Body(destroyed));
  Handle& same = handle;
  handle = same;
  EXPECT_EQ(destroyed, 0);
  EXPECT_FALSE(handle.is_null());
}

TEST(Handle, counts_copies_of_many_threads) {
  int destroyed = 0;
  {
    const Handle handle(new Body(destroyed));
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
      threads.emplace_back([handle] {
        for (int round = 0; round < 10000; ++round) const Handle copy = handle;
      });
    }
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(destroyed, 0);
  }
  EXPECT_EQ(destroyed, 1);
}

TEST(CountedHandle, takes_over_the_reference_that_it_is_given) {
  int destroyed = 0;
  {
    LocalHandle handle(new Local(destroyed));
    const LocalHandle copy = handle;
    handle = LocalHandle();
    EXPECT_TRUE(handle.is_null());
    EXPECT_EQ(destroyed, 0);
  }
  EXPECT_EQ(destroyed, 1);
}

TEST(CountedHandle, adds_a_reference_when_it_shares) {
  int destroyed = 0;
  auto* object = new Local(destroyed);
  {
    const LocalHandle handle = LocalHandle::share(object);
    EXPECT_EQ(handle.get(), object);
  }
  EXPECT_EQ(destroyed, 0);
  object->_qz_remove_ref();
  EXPECT_EQ(destroyed, 1);
  EXPECT_TRUE(LocalHandle::share(nullptr).is_null());
}

TEST(CountedHandle, counts_together_with_corba_references) {
  int destroyed = 0;
  CORBA::Object_var reference = new Local(destroyed);
  {
    const LocalHandle handle = LocalHandle::share(dynamic_cast<Local*>(reference.in()));
    reference = CORBA::Object::_nil();
    EXPECT_EQ(destroyed, 0);
  }
  EXPECT_EQ(destroyed, 1);
}

TEST(LocalObject, knows_no_orb_by_itself) {
  int destroyed = 0;
  const CORBA::Object_var object = new Local(destroyed);
  const CORBA::ORB_var orb = QZ_CORBA::orb_of(object);
  EXPECT_TRUE(CORBA::is_nil(orb));
}

}  // namespace
