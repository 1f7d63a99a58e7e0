#include "platform/binding/poller.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace QZ_Binding {

namespace {

int checked(int descriptor, const char* what) {
  if (descriptor < 0) throw std::system_error(errno, std::generic_category(), what);
  return descriptor;
}

bool control(int epoll, int operation, int descriptor, void* who, std::uint32_t events) {
  epoll_event event{};
  event.events = events;
  event.data.ptr = who;
  return ::epoll_ctl(epoll, operation, descriptor, &event) == 0;
}

}  // namespace

Poller::Poller()
    : m_epoll(checked(::epoll_create1(EPOLL_CLOEXEC), "epoll_create1")),
      m_wake_event(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  if (m_wake_event >= 0 && control(m_epoll, EPOLL_CTL_ADD, m_wake_event, this, EPOLLIN)) return;
  const int error = errno;
  if (m_wake_event >= 0) ::close(m_wake_event);
  ::close(m_epoll);
  throw std::system_error(error, std::generic_category(), "eventfd");
}

Poller::~Poller() {
  ::close(m_wake_event);
  ::close(m_epoll);
}

bool Poller::add(int descriptor, void* who, std::uint32_t events) {
  return control(m_epoll, EPOLL_CTL_ADD, descriptor, who, events);
}

void Poller::change(int descriptor, void* who, std::uint32_t events) {
  control(m_epoll, EPOLL_CTL_MOD, descriptor, who, events);
}

void Poller::remove(int descriptor) {
  control(m_epoll, EPOLL_CTL_DEL, descriptor, nullptr, 0);
}

std::span<const epoll_event> Poller::wait(std::chrono::milliseconds limit) {
  const int timeout = limit.count() < 0 ? 0 : static_cast<int>(limit.count());
  const int count = ::epoll_wait(m_epoll, m_events.data(), static_cast<int>(m_events.size()), timeout);
  m_woken = false;
  if (count <= 0) return {};
  auto last = m_events.begin() + count;
  for (auto event = m_events.begin(); event != last; ++event) {
    if (event->data.ptr != this) continue;
    m_woken = true;
    eventfd_t ignored;
    ::eventfd_read(m_wake_event, &ignored);
    *event = *--last;  // the order of the others says nothing
    break;
  }
  return {m_events.begin(), last};
}

void Poller::wake() {
  ::eventfd_write(m_wake_event, 1);
}

}  // namespace QZ_Binding
