#include "cli/interrupt.h"

#include <array>
#include <csignal>

namespace poaloc {

namespace {

volatile std::sig_atomic_t interrupted = 0;
constexpr std::array<int, 3> SIGNALS{SIGINT, SIGTERM, SIGHUP};
std::array<struct sigaction, SIGNALS.size()> old_actions;

void remember(int) {
  interrupted = 1;
}

}  // namespace

Interrupt::Interrupt() {
  interrupted = 0;
  struct sigaction action{};
  // A second one ends a call that gets no answer.
  action.sa_flags = SA_RESETHAND;
  action.sa_handler = remember;
  for (std::size_t i = 0; i < SIGNALS.size(); ++i) {
    ::sigaction(SIGNALS[i], nullptr, &old_actions[i]);
    // What is ignored, as behind nohup, stays so.
    if (old_actions[i].sa_handler != SIG_IGN) ::sigaction(SIGNALS[i], &action, nullptr);
  }
}

Interrupt::~Interrupt() {
  for (std::size_t i = 0; i < SIGNALS.size(); ++i) ::sigaction(SIGNALS[i], &old_actions[i], nullptr);
}

bool Interrupt::seen() const {
  return interrupted != 0;
}

}  // namespace poaloc
