#include "daemon/gathered_events.h"

#include <signal.h>

#include <array>
#include <cstdio>

namespace poalocd {

namespace {

constexpr std::array DEFECTS{SIGABRT, SIGBUS, SIGFPE, SIGILL, SIGSEGV};
std::array<struct sigaction, DEFECTS.size()> standard;

void restore() {
  for (std::size_t i = 0; i < DEFECTS.size(); ++i) sigaction(DEFECTS[i], &standard[i], nullptr);
}

// fflush is not among the functions that a signal may call. But files are locked by thread, so it does not wait for
// what it has interrupted, and should it fail the process dies as it would have done anyway.
void write_out(int number) {
  restore();
  std::fflush(nullptr);
  raise(number);  // comes again, with its standard effect, once this one is over
}

}  // namespace

GatheredEvents::GatheredEvents(EventLogImpl& log) : m_log(log) {
  struct sigaction action{};
  action.sa_handler = write_out;
  for (std::size_t i = 0; i < DEFECTS.size(); ++i) sigaction(DEFECTS[i], &action, &standard[i]);
  m_log.gather(true);
}

GatheredEvents::~GatheredEvents() {
  m_log.gather(false);
  restore();
}

}  // namespace poalocd
