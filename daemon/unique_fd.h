#pragma once

#include <unistd.h>

#include <utility>

namespace poalocd {

// Owns a file descriptor; -1 for none.
class UniqueFd {
 public:
  UniqueFd() = default;
  explicit UniqueFd(int fd) : m_fd(fd) {}
  UniqueFd(UniqueFd&& other) noexcept : m_fd(std::exchange(other.m_fd, -1)) {}
  UniqueFd& operator=(UniqueFd&& other) noexcept {
    std::swap(m_fd, other.m_fd);
    return *this;
  }
  ~UniqueFd() {
    if (m_fd >= 0) ::close(m_fd);
  }

  int get() const { return m_fd; }
  bool valid() const { return m_fd >= 0; }
  int release() { return std::exchange(m_fd, -1); }

 private:
  int m_fd = -1;
};

}  // namespace poalocd
