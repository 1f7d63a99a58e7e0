#include "bench/load/load_connection.h"

#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <unistd.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <system_error>

namespace bench {

namespace {

[[noreturn]] void fail(const std::string& what) {
  throw std::system_error(errno, std::generic_category(), what);
}

int connect_to(const Target& address) {
  addrinfo hints{};
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  const std::string port = std::to_string(address.port);
  if (getaddrinfo(address.host.c_str(), port.c_str(), &hints, &found) != 0) {
    throw std::runtime_error("cannot resolve " + address.host);
  }
  const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> release(found, freeaddrinfo);
  const int fd = socket(found->ai_family, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd < 0) fail("socket");
  if (connect(fd, found->ai_addr, found->ai_addrlen) == 0) return fd;
  const int error = errno;
  ::close(fd);
  errno = error;
  fail("cannot connect to " + address.host + ":" + port);
}

}  // namespace

LoadConnection::LoadConnection(const Target& address) : m_fd(connect_to(address)) {
  const int on = 1;
  setsockopt(m_fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  fcntl(m_fd, F_SETFL, O_NONBLOCK);
}

LoadConnection::~LoadConnection() {
  ::close(m_fd);
}

void LoadConnection::flush() {
  if (!m_open || m_output.empty()) return;
  const ssize_t count = send(m_fd, m_output.data(), m_output.size(), MSG_NOSIGNAL);
  if (count < 0) {
    if (errno != EAGAIN && errno != EINTR) m_open = false;
    return;
  }
  m_output.erase(m_output.begin(), m_output.begin() + count);
}

}  // namespace bench
