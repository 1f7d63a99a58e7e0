#pragma once

namespace poaloc {

// While one exists, SIGINT and SIGTERM are remembered instead of ending the process. One at a time.
class Interrupt {
 public:
  Interrupt();
  ~Interrupt();
  Interrupt(const Interrupt&) = delete;
  Interrupt& operator=(const Interrupt&) = delete;

  bool seen() const;
};

}  // namespace poaloc
