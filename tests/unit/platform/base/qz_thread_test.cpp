#include "platform/base/qz_thread.h"

#include <gtest/gtest.h>
#include <omniORB4/CORBA.h>
#include <pthread.h>

#include <functional>
#include <future>
#include <stdexcept>
#include <string>
#include <thread>

namespace {

class Body : public QZ_ThreadBody {
 public:
  explicit Body(std::function<void()> work) : m_work(std::move(work)) {}
  int run() override {
    const auto work = std::move(m_work);
    delete this;
    work();
    return 0;
  }

 private:
  std::function<void()> m_work;
};

// What the handler of a thread is told that does the work.
std::string reported(std::function<void()> work) {
  auto told = std::make_shared<std::promise<std::string>>();
  auto future = told->get_future();
  QZ_ThreadFactory(0, 0).start(*new Body(std::move(work)), [told](const std::string& what) { told->set_value(what); });
  return future.get();
}

TEST(ThreadFactory, runs_the_body_on_another_thread) {
  auto ran = std::make_shared<std::promise<std::thread::id>>();
  auto future = ran->get_future();
  QZ_ThreadFactory(0, 0).start(*new Body([ran] { ran->set_value(std::this_thread::get_id()); }),
                               QZ_global_exception_handler());
  EXPECT_NE(future.get(), std::this_thread::get_id());
}

TEST(ThreadFactory, gives_the_stack_that_is_asked_for) {
  constexpr std::size_t STACK = 1 << 20;
  auto size = std::make_shared<std::promise<std::size_t>>();
  auto future = size->get_future();
  QZ_ThreadFactory(0, STACK).start(*new Body([size] {
    pthread_attr_t attributes;
    pthread_getattr_np(pthread_self(), &attributes);
    std::size_t own = 0;
    pthread_attr_getstacksize(&attributes, &own);
    pthread_attr_destroy(&attributes);
    size->set_value(own);
  }),
                                   QZ_global_exception_handler());
  EXPECT_EQ(future.get(), STACK);
}

TEST(ThreadFactory, tells_the_handler_of_exceptions) {
  EXPECT_EQ(reported([] { throw std::runtime_error("broken"); }), "broken");
  EXPECT_EQ(reported([] { throw CORBA::TRANSIENT(0, CORBA::COMPLETED_NO); }), "TRANSIENT");
  EXPECT_EQ(reported([] { throw 7; }), "unknown exception");
}

TEST(ThreadFactory, makes_detached_threads_only) {
  EXPECT_THROW(QZ_ThreadFactory(1, 0), CORBA::BAD_PARAM);
}

TEST(ThreadFactory, leaves_the_body_alone_when_there_is_no_thread_for_it) {
  bool ran = false;
  Body body([&ran] { ran = true; });
  // More than an address space has.
  const QZ_ThreadFactory factory(0, std::size_t{1} << 46);
  EXPECT_THROW(factory.start(body, QZ_global_exception_handler()), CORBA::NO_RESOURCES);
  EXPECT_FALSE(ran);
}

}  // namespace
