#include "platform/base/qz_thread.h"

#include <omniORB4/CORBA.h>
#include <pthread.h>

#include <cstdio>
#include <exception>
#include <memory>

namespace {

struct Start {
  QZ_ThreadBody& body;
  QZ_ExceptionHandler handler;
};

void* run(void* argument) {
  std::unique_ptr<Start> start(static_cast<Start*>(argument));
  try {
    start->body.run();
  } catch (const CORBA::Exception& e) {
    start->handler(e._name());
  } catch (const std::exception& e) {
    start->handler(e.what());
  } catch (...) {
    start->handler("unknown exception");
  }
  return nullptr;
}

}  // namespace

const QZ_ExceptionHandler& QZ_global_exception_handler() {
  static const QZ_ExceptionHandler handler = [](const std::string& what) {
    std::fprintf(stderr, "poalocator: a thread ended with an exception: %s\n", what.c_str());
  };
  return handler;
}

QZ_ThreadFactory::QZ_ThreadFactory(int detach_state, std::size_t stack_size) : m_stack_size(stack_size) {
  if (detach_state != 0) throw CORBA::BAD_PARAM(0, CORBA::COMPLETED_NO);
}

void QZ_ThreadFactory::start(QZ_ThreadBody& body, const QZ_ExceptionHandler& handler) const {
  auto start = std::make_unique<Start>(Start{body, handler});
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
  if (m_stack_size != 0) pthread_attr_setstacksize(&attributes, m_stack_size);
  pthread_t thread;
  const int error = pthread_create(&thread, &attributes, run, start.get());
  pthread_attr_destroy(&attributes);
  if (error != 0) throw CORBA::NO_RESOURCES(0, CORBA::COMPLETED_NO);
  start.release();
}
