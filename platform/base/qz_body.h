// Base of bodies shared by counted handles (QZ_Handle). The count is thread-safe; it starts at 0.
#pragma once

#include <atomic>

class QZ_Body {
 public:
  QZ_Body() = default;
  QZ_Body(const QZ_Body&) = delete;
  QZ_Body& operator=(const QZ_Body&) = delete;

  void add_ref() const { m_count.fetch_add(1, std::memory_order_relaxed); }
  void remove_ref() const {
    if (m_count.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
  }

 protected:
  virtual ~QZ_Body() = default;

 private:
  mutable std::atomic<unsigned long> m_count{0};
};
