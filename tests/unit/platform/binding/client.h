// A client over a plain socket, which waits for everything with a limit.
#pragma once

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <optional>
#include <string>
#include <thread>

#include "platform/orb/cdr_reader.h"
#include "tests/unit/platform/binding/giop_messages.h"

namespace test {

inline constexpr std::chrono::milliseconds PATIENCE = std::chrono::seconds(20);

// Waits until the condition holds; false when it does not within the limit.
template <class Condition>
bool eventually(Condition condition, std::chrono::milliseconds limit = PATIENCE) {
  const auto end = std::chrono::steady_clock::now() + limit;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

// A message from the server, taken apart.
struct Reply {
  std::uint8_t minor = 0;
  bool little_endian = false;
  unsigned type = 0;
  Octets octets;  // the whole message

  QZ_CORBA::CdrReader body() const { return {octets, little_endian, 12}; }
  // Of a Reply or LocateReply.
  std::uint32_t id() const {
    auto reader = body();
    if (type == 1 && minor < 2) reader.read_ulong();  // no contexts
    return reader.read_ulong();
  }
  std::uint32_t status() const {
    auto reader = body();
    if (type == 1 && minor < 2) reader.read_ulong();
    reader.read_ulong();
    return reader.read_ulong();
  }
  // What follows the header.
  QZ_CORBA::CdrReader contents() const {
    auto reader = body();
    reader.read_ulong();
    reader.read_ulong();
    if (type == 1) reader.read_ulong();
    return reader;
  }
  // Of an exception.
  std::string exception() const { return std::string(contents().read_string()); }
  std::uint32_t minor_code() const {
    auto reader = contents();
    reader.read_string();
    return reader.read_ulong();
  }
};

class Client {
 public:
  explicit Client(std::uint16_t port, int receive_buffer = 0) : m_socket(::socket(AF_INET, SOCK_STREAM, 0)) {
    if (receive_buffer > 0) {
      ::setsockopt(m_socket, SOL_SOCKET, SO_RCVBUF, &receive_buffer, sizeof receive_buffer);
    }
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    m_connected = ::connect(m_socket, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
    const int on = 1;
    ::setsockopt(m_socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  }
  ~Client() { close(); }
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

  bool connected() const { return m_connected; }
  void close() {
    if (m_socket >= 0) ::close(m_socket);
    m_socket = -1;
  }
  void close_for_writing() { ::shutdown(m_socket, SHUT_WR); }

  // False when the server has closed.
  bool send(const Octets& octets) {
    std::size_t sent = 0;
    while (sent < octets.size()) {
      const auto count = ::send(m_socket, octets.data() + sent, octets.size() - sent, MSG_NOSIGNAL);
      if (count <= 0) return false;
      sent += static_cast<std::size_t>(count);
    }
    return true;
  }
  // As much as can be sent within the time.
  std::size_t send_for(const Octets& octets, std::chrono::milliseconds time) {
    const auto end = std::chrono::steady_clock::now() + time;
    std::size_t sent = 0;
    while (sent < octets.size() && std::chrono::steady_clock::now() < end) {
      const auto count = ::send(m_socket, octets.data() + sent, octets.size() - sent, MSG_NOSIGNAL | MSG_DONTWAIT);
      if (count > 0) {
        sent += static_cast<std::size_t>(count);
      } else {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
      }
    }
    return sent;
  }

  // The next message; none when the connection ends, or nothing comes in time.
  std::optional<Reply> receive(std::chrono::milliseconds limit = PATIENCE) {
    Reply reply;
    if (!read(reply.octets, 12, limit)) return std::nullopt;
    if (std::memcmp(reply.octets.data(), "GIOP", 4) != 0) {
      ADD_FAILURE() << "what comes is not GIOP";
      return std::nullopt;
    }
    reply.minor = reply.octets[5];
    reply.little_endian = reply.octets[6] == 1;
    reply.type = reply.octets[7];
    const std::uint32_t size = QZ_CORBA::CdrReader(reply.octets, reply.little_endian, 8).read_ulong();
    if (!read(reply.octets, size, limit)) return std::nullopt;
    return reply;
  }
  // Whether the server closes, and says nothing before.
  bool closed_by_server() {
    Octets none;
    return !read(none, 1, PATIENCE) && none.empty() && m_ended;
  }
  // Whether nothing comes within the time.
  bool silent(std::chrono::milliseconds time) {
    pollfd p{m_socket, POLLIN, 0};
    return ::poll(&p, 1, static_cast<int>(time.count())) == 0;
  }

 private:
  bool read(Octets& out, std::size_t count, std::chrono::milliseconds limit) {
    const auto end = std::chrono::steady_clock::now() + limit;
    const std::size_t wanted = out.size() + count;
    while (out.size() < wanted) {
      const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
      pollfd p{m_socket, POLLIN, 0};
      if (left.count() <= 0 || ::poll(&p, 1, static_cast<int>(left.count())) <= 0) return false;
      unsigned char buffer[4096];
      const auto got = ::recv(m_socket, buffer, std::min(sizeof buffer, wanted - out.size()), 0);
      if (got <= 0) {
        m_ended = true;
        return false;
      }
      out.insert(out.end(), buffer, buffer + got);
    }
    return true;
  }

  int m_socket;
  bool m_connected = false;
  bool m_ended = false;
};

}  // namespace test
