// A counted pointer to a QZ_Body. Copies share the body; different handles on one body may be used by
// different threads, one handle only by one at a time.
#pragma once

#include <utility>

template <class Body>
class QZ_Handle {
 public:
  QZ_Handle() = default;
  explicit QZ_Handle(Body* body) : m_body(body) {
    if (m_body) m_body->add_ref();
  }
  QZ_Handle(const QZ_Handle& other) : QZ_Handle(other.m_body) {}
  QZ_Handle(QZ_Handle&& other) noexcept : m_body(std::exchange(other.m_body, nullptr)) {}
  ~QZ_Handle() {
    if (m_body) m_body->remove_ref();
  }
  QZ_Handle& operator=(QZ_Handle other) noexcept {
    std::swap(m_body, other.m_body);
    return *this;
  }

  bool is_null() const { return m_body == nullptr; }
  Body* operator->() const { return m_body; }
  Body& operator*() const { return *m_body; }

 private:
  Body* m_body = nullptr;
};
