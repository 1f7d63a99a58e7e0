#include "cli/interrupt.h"

#include <csignal>

namespace poaloc {

namespace {

volatile std::sig_atomic_t interrupted = 0;
struct sigaction old_interrupt;
struct sigaction old_termination;

void remember(int) {
  interrupted = 1;
}

}  // namespace

Interrupt::Interrupt() {
  interrupted = 0;
  struct sigaction action{};
  action.sa_handler = remember;
  ::sigaction(SIGINT, &action, &old_interrupt);
  ::sigaction(SIGTERM, &action, &old_termination);
}

Interrupt::~Interrupt() {
  ::sigaction(SIGINT, &old_interrupt, nullptr);
  ::sigaction(SIGTERM, &old_termination, nullptr);
}

bool Interrupt::seen() const {
  return interrupted != 0;
}

}  // namespace poaloc
