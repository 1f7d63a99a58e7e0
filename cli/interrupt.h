#pragma once

namespace poaloc {

// While one exists, SIGINT, SIGTERM and SIGHUP are remembered instead of ending the process; a second one ends it. One at
// a time.
class Interrupt {
 public:
  Interrupt();
  ~Interrupt();
  Interrupt(const Interrupt&) = delete;
  Interrupt& operator=(const Interrupt&) = delete;

  bool seen() const;
};

}  // namespace poaloc
