#include "daemon/event_loop.h"

#include <fcntl.h>

#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>
#include <asio/posix/stream_descriptor.hpp>
#include <asio/post.hpp>
#include <asio/steady_timer.hpp>
#include <cerrno>
#include <system_error>
#include <thread>

#include "daemon/exception_text.h"
#include "daemon/host_event.h"

namespace poalocd {

class EventLoop::Impl {
 public:
  explicit Impl(QZ_Logging::EventLog_ptr log) : m_log(QZ_Logging::EventLog::_duplicate(log)) {}

  void run(const Task& task) {
    try {
      task();
    } catch (...) {
      report(m_log, THREAD_FAILED_EVENT, {"watches processes", current_exception_text()});
    }
  }

  const QZ_Logging::EventLog_var m_log;
  asio::io_context m_context{1};
  asio::executor_work_guard<asio::io_context::executor_type> m_work{m_context.get_executor()};
  std::thread m_thread;
};

EventLoop::EventLoop(QZ_Logging::EventLog_ptr log) : m_impl(std::make_unique<Impl>(log)) {}

EventLoop::~EventLoop() {
  stop();
}

void EventLoop::begin() {
  m_impl->m_thread = std::thread([this] { m_impl->m_context.run(); });
}

void EventLoop::stop() {
  if (m_impl->m_thread.joinable()) {
    // Behind what was posted before: records of processes must not be lost.
    asio::post(m_impl->m_context, [this] { m_impl->m_context.stop(); });
    m_impl->m_thread.join();
  }
}

void EventLoop::post(Task task) {
  asio::post(m_impl->m_context, [this, task = std::move(task)] { m_impl->run(task); });
}

void EventLoop::after(Milliseconds delay, Task task) {
  auto timer = std::make_shared<asio::steady_timer>(m_impl->m_context, delay);
  timer->async_wait([this, timer, task = std::move(task)](const std::error_code& error) {
    if (!error) m_impl->run(task);
  });
}

void EventLoop::when_readable(int fd, Task task) {
  const int own = ::fcntl(fd, F_DUPFD_CLOEXEC, 3);
  if (own < 0) throw std::system_error(errno, std::generic_category(), "a process cannot be watched");
  auto descriptor = std::make_shared<asio::posix::stream_descriptor>(m_impl->m_context, own);
  descriptor->async_wait(asio::posix::stream_descriptor::wait_read,
                         [this, descriptor, task = std::move(task)](const std::error_code& error) {
                           if (!error) m_impl->run(task);
                         });
}

}  // namespace poalocd
