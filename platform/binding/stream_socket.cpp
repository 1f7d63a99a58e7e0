#include "platform/binding/stream_socket.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace QZ_Binding {

namespace {

using Outcome = StreamSocket::Outcome;

StreamSocket::Transfer transfer_of(ssize_t count) {
  if (count > 0) return {Outcome::DONE, static_cast<std::size_t>(count)};
  const bool again = count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR);
  return {again ? Outcome::NOT_NOW : Outcome::ENDED, 0};
}

}  // namespace

StreamSocket::StreamSocket(StreamSocket&& other) noexcept : m_descriptor(std::exchange(other.m_descriptor, -1)) {}

void StreamSocket::set_options() {
  const int on = 1;
  ::setsockopt(m_descriptor, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  ::setsockopt(m_descriptor, SOL_SOCKET, SO_KEEPALIVE, &on, sizeof on);
}

StreamSocket::Transfer StreamSocket::read(std::span<unsigned char> buffer) {
  return transfer_of(::recv(m_descriptor, buffer.data(), buffer.size(), MSG_DONTWAIT));
}

StreamSocket::Transfer StreamSocket::write(std::span<const unsigned char> octets) {
  return transfer_of(::send(m_descriptor, octets.data(), octets.size(), MSG_DONTWAIT | MSG_NOSIGNAL));
}

void StreamSocket::end_output() {
  ::shutdown(m_descriptor, SHUT_WR);
}

bool StreamSocket::peer_has_closed() const {
  pollfd peer{m_descriptor, POLLRDHUP, 0};
  return ::poll(&peer, 1, 0) > 0;
}

void StreamSocket::close() {
  if (m_descriptor >= 0) ::close(std::exchange(m_descriptor, -1));
}

}  // namespace QZ_Binding
