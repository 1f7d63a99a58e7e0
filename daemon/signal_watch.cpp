#include "daemon/signal_watch.h"

#include <signal.h>
#include <unistd.h>

#include <cstring>
#include <string>
#include <utility>

namespace poalocd {

namespace {

sigset_t watched() {
  sigset_t set;
  sigemptyset(&set);
  for (const int number : {SIGTERM, SIGINT, SIGHUP}) sigaddset(&set, number);
  return set;
}

std::string name_of(int number) {
  return std::string("SIG") + ::sigabbrev_np(number);
}

}  // namespace

SignalWatch::SignalWatch() {
  ::signal(SIGPIPE, SIG_IGN);
  const sigset_t set = watched();
  ::pthread_sigmask(SIG_BLOCK, &set, nullptr);
  m_thread = std::thread([this] { run(); });
}

SignalWatch::~SignalWatch() {
  m_ending = true;
  ::pthread_kill(m_thread.native_handle(), SIGHUP);
  m_thread.join();
}

void SignalWatch::run() {
  const sigset_t set = watched();
  for (int number = 0; !m_ending;)
    if (::sigwait(&set, &number) == 0 && !m_ending) handle(number);
}

void SignalWatch::handle(int number) {
  const QZ_MutexLock lock(m_mutex);
  if (number == SIGHUP) {
    if (m_hangup) m_hangup();
    return;
  }
  if (m_stop_signal != 0) ::_exit(128 + number);
  m_stop_signal = number;
  m_changed.notify_all();
}

void SignalWatch::on_hangup(std::function<void()> action) {
  const QZ_MutexLock lock(m_mutex);
  m_hangup = std::move(action);
}

std::string SignalWatch::stop_asked() const {
  const QZ_MutexLock lock(m_mutex);
  return m_stop_signal == 0 ? std::string() : name_of(m_stop_signal);
}

std::string SignalWatch::wait_for_stop() {
  const QZ_MutexLock lock(m_mutex);
  m_changed.wait(m_mutex, [this]() REQUIRES(m_mutex) { return m_stop_signal != 0; });
  return name_of(m_stop_signal);
}

}  // namespace poalocd
