#pragma once

#include <sys/socket.h>

#include <cerrno>
#include <vector>

#include "bench/load/in_flight.h"
#include "bench/load/reply.h"
#include "bench/load/target.h"

namespace bench {

// One connection of the load generator, not blocking.
class LoadConnection {
 public:
  // std::system_error when it cannot be made.
  explicit LoadConnection(const Target& address);
  ~LoadConnection();
  LoadConnection(const LoadConnection&) = delete;
  LoadConnection& operator=(const LoadConnection&) = delete;

  int fd() const { return m_fd; }
  bool open() const { return m_open; }
  void close() { m_open = false; }

  // What is to be sent; flush() sends what the socket takes.
  std::vector<unsigned char>& output() { return m_output; }
  void flush();
  bool blocked() const { return !m_output.empty(); }

  // Reads once, and calls on_message(Octets) for every message that is complete by then.
  template <class Function>
  void receive(std::vector<unsigned char>& buffer, Function on_message) {
    const ssize_t count = recv(m_fd, buffer.data(), buffer.size(), 0);
    if (count <= 0) {
      if (count == 0 || (errno != EAGAIN && errno != EINTR)) m_open = false;
      return;
    }
    Octets octets = Octets(buffer).first(static_cast<std::size_t>(count));
    if (!m_incomplete.empty()) {
      m_incomplete.insert(m_incomplete.end(), octets.begin(), octets.end());
      octets = m_incomplete;
    }
    for (;;) {
      const auto size = message_size(octets);
      if (!size || octets.size() < *size) break;
      on_message(octets.first(*size));
      octets = octets.subspan(*size);
    }
    m_incomplete = std::vector<unsigned char>(octets.begin(), octets.end());
  }

  InFlight in_flight;
  std::size_t next_target = 0;
  bool watched_for_output = false;

 private:
  int m_fd;
  bool m_open = true;
  std::vector<unsigned char> m_output;
  std::vector<unsigned char> m_incomplete;  // the beginning of a message
};

}  // namespace bench
