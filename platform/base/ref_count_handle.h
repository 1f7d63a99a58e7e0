// Holds one reference of an object counted with _qz_add_ref and _qz_remove_ref; null when it holds none.
#pragma once

#include <utility>

template <class T>
class RefCountHandle {
 public:
  RefCountHandle() = default;
  // Takes over the caller's reference.
  explicit RefCountHandle(T* owned) : m_object(owned) {}
  // Adds a reference of its own.
  static RefCountHandle share(T* object) {
    if (object) object->_qz_add_ref();
    return RefCountHandle(object);
  }
  RefCountHandle(const RefCountHandle& other) : m_object(other.m_object) {
    if (m_object) m_object->_qz_add_ref();
  }
  RefCountHandle(RefCountHandle&& other) noexcept : m_object(std::exchange(other.m_object, nullptr)) {}
  ~RefCountHandle() {
    if (m_object) m_object->_qz_remove_ref();
  }
  RefCountHandle& operator=(RefCountHandle other) noexcept {
    std::swap(m_object, other.m_object);
    return *this;
  }

  bool is_null() const { return m_object == nullptr; }
  T* get() const { return m_object; }
  T* operator->() const { return m_object; }
  T& operator*() const { return *m_object; }

 private:
  T* m_object = nullptr;
};
