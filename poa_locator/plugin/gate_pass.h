// Being inside a gate, for the lifetime of the pass. Keeps the gate alive, so it may be left after the gate's maker
// has gone.
#pragma once

#include <memory>
#include <utility>

#include "platform/base/gate.h"

class GatePass {
 public:
  // Empty when the gate is closed.
  explicit GatePass(std::shared_ptr<Gate> gate) : m_gate(std::move(gate)) {
    if (!m_gate->enter()) m_gate.reset();
  }
  GatePass(GatePass&& other) noexcept = default;
  GatePass& operator=(GatePass&&) = delete;
  ~GatePass() {
    if (m_gate) m_gate->leave();
  }

  explicit operator bool() const { return m_gate != nullptr; }

 private:
  std::shared_ptr<Gate> m_gate;
};
