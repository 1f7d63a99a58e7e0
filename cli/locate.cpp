#include "cli/locate.h"

#include <netdb.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <memory>

#include "cli/failure.h"
#include "platform/orb/cdr_reader.h"
#include "platform/orb/cdr_writer.h"

namespace poaloc {

namespace {

constexpr std::size_t HEADER_SIZE = 12;
constexpr std::uint32_t MAX_REPLY_SIZE = 1024 * 1024;
constexpr unsigned char LOCATE_REQUEST = 3;
constexpr unsigned char LOCATE_REPLY = 4;
constexpr std::uint32_t OBJECT_FORWARD = 2;
constexpr bool LITTLE_ENDIAN_MESSAGE = true;

[[noreturn]] void fail(const std::string& host, unsigned port, const std::string& what) {
  throw Failure(UNREACHABLE, "The locator at " + host + ":" + std::to_string(port) + " " + what +
                                 ": see that poalocd runs there, or give it longer with --timeout.");
}

class Socket {
 public:
  // limit: for everything.
  Socket(const std::string& host, unsigned port, std::chrono::milliseconds limit)
      : m_host(host), m_port(port), m_end(Clock::now() + limit) {
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    if (::getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &found) != 0)
      fail(host, port, "has no address");
    const std::unique_ptr<addrinfo, decltype(&::freeaddrinfo)> addresses(found, ::freeaddrinfo);
    for (const auto* address = found; address && m_fd < 0; address = address->ai_next) connect(*address);
    if (m_fd < 0) fail(host, port, "does not answer");
  }
  ~Socket() { ::close(m_fd); }
  Socket(const Socket&) = delete;
  Socket& operator=(const Socket&) = delete;

  void send(const Octets& octets) {
    std::size_t sent = 0;
    while (sent < octets.size()) {
      limit_time(m_fd);
      const ssize_t count = ::send(m_fd, octets.data() + sent, octets.size() - sent, MSG_NOSIGNAL);
      if (count <= 0) fail(m_host, m_port, "does not answer");
      sent += static_cast<std::size_t>(count);
    }
  }

  Octets receive(std::size_t size) {
    Octets octets(size);
    std::size_t received = 0;
    while (received < size) {
      limit_time(m_fd);
      const ssize_t count = ::recv(m_fd, octets.data() + received, size - received, 0);
      if (count <= 0) fail(m_host, m_port, "does not answer");
      received += static_cast<std::size_t>(count);
    }
    return octets;
  }

 private:
  using Clock = std::chrono::steady_clock;

  // The next call on the socket ends in time.
  void limit_time(int fd) const {
    const auto left = std::chrono::duration_cast<std::chrono::microseconds>(m_end - Clock::now()).count();
    if (left <= 0) fail(m_host, m_port, "does not answer");
    const timeval time{left / 1'000'000, left % 1'000'000};
    ::setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &time, sizeof time);
    ::setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &time, sizeof time);  // also for connect
  }

  void connect(const addrinfo& address) {
    const int fd = ::socket(address.ai_family, address.ai_socktype | SOCK_CLOEXEC, address.ai_protocol);
    if (fd < 0) return;
    limit_time(fd);
    if (::connect(fd, address.ai_addr, address.ai_addrlen) == 0) {
      m_fd = fd;
    } else {
      ::close(fd);
    }
  }

  const std::string m_host;
  const unsigned m_port;
  const Clock::time_point m_end;
  int m_fd = -1;
};

// GIOP 1.2, target addressed by key.
Octets locate_request(const Octets& key) {
  Octets message{'G', 'I', 'O', 'P', 1, 2, LITTLE_ENDIAN_MESSAGE, LOCATE_REQUEST};
  QZ_CORBA::CdrWriter writer(message, LITTLE_ENDIAN_MESSAGE);
  Octets body;
  QZ_CORBA::CdrWriter content(body, LITTLE_ENDIAN_MESSAGE);
  content.write_ulong(1);   // request id
  content.write_ushort(0);  // key address
  content.align(4);
  content.write_octet_seq(key);
  writer.write_ulong(static_cast<std::uint32_t>(body.size()));
  message.insert(message.end(), body.begin(), body.end());
  return message;
}

}  // namespace

std::optional<Reference> locate(const std::string& host, unsigned port, const Octets& key,
                                std::chrono::milliseconds limit) {
  Socket socket(host, port, limit);
  socket.send(locate_request(key));
  const Octets header = socket.receive(HEADER_SIZE);
  const bool little_endian = (header[6] & 1) != 0;
  const std::uint32_t size = QZ_CORBA::CdrReader(header, little_endian, 8).read_ulong();
  const Octets magic{'G', 'I', 'O', 'P'};
  if (!std::equal(magic.begin(), magic.end(), header.begin()) || header[7] != LOCATE_REPLY || size > MAX_REPLY_SIZE)
    fail(host, port, "does not speak GIOP 1.2");
  const Octets body = socket.receive(size);
  try {
    QZ_CORBA::CdrReader reader(body, little_endian);
    reader.read_ulong();  // request id
    if (reader.read_ulong() != OBJECT_FORWARD) return std::nullopt;
    return parse_ior({body.begin() + static_cast<std::ptrdiff_t>(reader.position()), body.end()}, little_endian);
  } catch (const QZ_CORBA::CdrError&) {
    fail(host, port, "answers what cannot be read");
  }
}

}  // namespace poaloc
