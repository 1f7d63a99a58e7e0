#include "tests/support/giop_client.h"

#include <arpa/inet.h>
#include <errno.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <stdexcept>
#include <system_error>
#include <utility>

#include "tests/support/wait.h"

namespace support {

namespace {

// Larger messages are never sent to a client of these tests.
constexpr std::size_t LARGEST_MESSAGE = 1 << 20;

int milliseconds_left(std::chrono::steady_clock::time_point end) {
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - std::chrono::steady_clock::now()).count();
  return left < 0 ? 0 : static_cast<int>(left);
}

const sockaddr* as_any(const sockaddr_in& address) {
  return reinterpret_cast<const sockaddr*>(&address);
}

sockaddr_in socket_address(const std::string& host, int port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  if (inet_pton(AF_INET, host.c_str(), &address.sin_addr) != 1) throw std::runtime_error("no address: " + host);
  return address;
}

}  // namespace

GiopClient::GiopClient(const std::string& host, int port, const Options& options)
    : m_fd(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  if (options.receive_buffer > 0) {
    setsockopt(m_fd, SOL_SOCKET, SO_RCVBUF, &options.receive_buffer, sizeof options.receive_buffer);
  }
  const int on = 1;
  // The port is chosen by connect then, among all that are free towards this host: bind alone runs out of them when
  // thousands of connections have just ended.
  setsockopt(m_fd, IPPROTO_IP, IP_BIND_ADDRESS_NO_PORT, &on, sizeof on);
  const sockaddr_in from = socket_address(options.from.empty() ? "0.0.0.0" : options.from, 0);
  const sockaddr_in to = socket_address(host, port);
  const bool good = m_fd >= 0 && (options.from.empty() || bind(m_fd, as_any(from), sizeof from) == 0) &&
                    connect(m_fd, as_any(to), sizeof to) == 0;
  if (!good) {
    const std::string why = std::system_category().message(errno);
    if (m_fd >= 0) close(m_fd);
    throw std::runtime_error("cannot connect to " + host + ":" + std::to_string(port) + ": " + why);
  }
  setsockopt(m_fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

GiopClient::~GiopClient() {
  if (m_fd >= 0) close(m_fd);
}

GiopClient::GiopClient(GiopClient&& other) noexcept : m_fd(std::exchange(other.m_fd, -1)) {}

std::string GiopClient::address() const {
  sockaddr_in address{};
  socklen_t size = sizeof address;
  char text[INET_ADDRSTRLEN] = {};
  if (getsockname(m_fd, reinterpret_cast<sockaddr*>(&address), &size) != 0 ||
      !inet_ntop(AF_INET, &address.sin_addr, text, sizeof text)) {
    throw std::runtime_error("the socket has no address");
  }
  return std::string(text) + ":" + std::to_string(ntohs(address.sin_port));
}

void GiopClient::send(const Octets& octets) {
  if (!try_send(octets)) throw std::runtime_error("the connection was closed while sending");
}

bool GiopClient::try_send(const Octets& octets) {
  for (std::size_t sent = 0; sent < octets.size();) {
    const ssize_t size = ::send(m_fd, octets.data() + sent, octets.size() - sent, MSG_NOSIGNAL);
    if (size <= 0) return false;
    sent += static_cast<std::size_t>(size);
  }
  return true;
}

void GiopClient::finish_sending() {
  shutdown(m_fd, SHUT_WR);
}

void GiopClient::reset_at_end() {
  const linger none{1, 0};
  setsockopt(m_fd, SOL_SOCKET, SO_LINGER, &none, sizeof none);
}

Octets GiopClient::read_octets(std::size_t size, std::chrono::steady_clock::time_point end) {
  Octets octets(size);
  std::size_t have = 0;
  while (have < size) {
    pollfd waiting{m_fd, POLLIN, 0};
    if (poll(&waiting, 1, milliseconds_left(end)) == 0) throw std::runtime_error("no message came in time");
    const ssize_t got = recv(m_fd, octets.data() + have, size - have, 0);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) break;
    have += static_cast<std::size_t>(got);
  }
  octets.resize(have);
  return octets;
}

RawMessage GiopClient::receive(std::chrono::milliseconds limit) {
  const auto end = std::chrono::steady_clock::now() + scaled(limit);
  RawMessage message{read_octets(HEADER_SIZE, end)};
  if (message.octets.empty()) throw std::runtime_error("the connection was closed");
  if (message.octets.size() < HEADER_SIZE || text_of(message.octets).substr(0, 4) != "GIOP") {
    throw std::runtime_error("no GIOP message header");
  }
  const std::size_t size = CdrReader(message.octets, message.order(), 8).ulong();
  if (size > LARGEST_MESSAGE) throw std::runtime_error("a message that is too large");
  const Octets body = read_octets(size, end);
  if (body.size() < size) throw std::runtime_error("the connection was closed within a message");
  message.octets = std::move(message.octets) + body;
  return message;
}

bool GiopClient::wait_for_end(std::chrono::milliseconds limit) {
  try {
    return read_octets(1, std::chrono::steady_clock::now() + scaled(limit)).empty();
  } catch (const std::runtime_error&) {
    return false;
  }
}

bool GiopClient::something_arrived() const {
  pollfd waiting{m_fd, POLLIN, 0};
  return poll(&waiting, 1, 0) > 0;
}

}  // namespace support
