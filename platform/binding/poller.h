#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <span>

#include <sys/epoll.h>

namespace QZ_Binding {

// Waits until descriptors are ready. It is epoll itself, level-triggered: a descriptor is registered once and stays so,
// where Asio costs a system call for every wait, as much as a quarter of the answer to a request.
// For one thread, but for wake.
class Poller {
 public:
  // std::system_error when there are no descriptors left.
  Poller();
  ~Poller();
  Poller(const Poller&) = delete;
  Poller& operator=(const Poller&) = delete;

  // events: of EPOLLIN and EPOLLOUT; errors and hang-ups are always told. False when the system refuses.
  bool add(int descriptor, void* who, std::uint32_t events);
  void change(int descriptor, void* who, std::uint32_t events);
  // Before the descriptor is closed: a process that is being started may hold a copy of it that keeps it registered.
  void remove(int descriptor);

  // data.ptr is who. Empty when the time has passed or wake was called. Valid until the next wait.
  std::span<const epoll_event> wait(std::chrono::milliseconds limit);
  // Whether the last wait was told of a call of wake.
  bool woken() const { return m_woken; }
  // On any thread: the present wait, or else the next, returns soon.
  void wake();

 private:
  // At a time: few enough, as the first of them is answered when the last has been read.
  static constexpr std::size_t MOST_EVENTS = 64;

  const int m_epoll;
  const int m_wake_event;
  std::array<epoll_event, MOST_EVENTS> m_events;
  bool m_woken = false;
};

}  // namespace QZ_Binding
