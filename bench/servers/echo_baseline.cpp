// The least that a server can do for each GIOP message: find its end, and send octets that were ready before. What a
// locator reaches of this one's figures tells how much of the machine its own work takes. It asks nothing of the
// scheduler and answers what it has read before it reads on, as one would write it first.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <array>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

namespace {

constexpr std::size_t HEADER_SIZE = 12;
using Octets = std::vector<unsigned char>;

int checked(int result, const char* what) {
  if (result < 0) throw std::system_error(errno, std::generic_category(), what);
  return result;
}

class Connection {
 public:
  explicit Connection(int fd) : m_fd(fd) {}
  ~Connection() { close(m_fd); }
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  // False when the connection has ended.
  bool serve(Octets& buffer, const Octets& reply) {
    const ssize_t count = recv(m_fd, buffer.data(), buffer.size(), MSG_DONTWAIT);
    if (count <= 0) return count < 0 && (errno == EAGAIN || errno == EINTR);
    m_output.clear();
    const unsigned char* octets = buffer.data();
    for (auto left = static_cast<std::size_t>(count); left > 0;) {
      const std::size_t taken = take(octets, left);
      octets += taken;
      left -= taken;
      if (m_header_size == HEADER_SIZE && m_body_left == 0) {
        m_output.insert(m_output.end(), reply.begin(), reply.end());
        m_header_size = 0;
      }
    }
    // A client that does not read makes its thread wait; the load generator reads.
    for (std::size_t sent = 0; sent < m_output.size();) {
      const ssize_t written = send(m_fd, m_output.data() + sent, m_output.size() - sent, MSG_NOSIGNAL);
      if (written < 0) return false;
      sent += static_cast<std::size_t>(written);
    }
    return true;
  }

 private:
  // Of the message that is arriving.
  std::size_t take(const unsigned char* octets, std::size_t count) {
    if (m_header_size == HEADER_SIZE) {
      const std::size_t taken = std::min(count, m_body_left);
      m_body_left -= taken;
      return taken;
    }
    const std::size_t taken = std::min(count, HEADER_SIZE - m_header_size);
    std::memcpy(m_header.data() + m_header_size, octets, taken);
    m_header_size += taken;
    if (m_header_size == HEADER_SIZE) {
      std::uint32_t size;
      std::memcpy(&size, m_header.data() + 8, 4);
      m_body_left = (m_header[6] & 1) != 0 ? size : __builtin_bswap32(size);
    }
    return taken;
  }

  const int m_fd;
  std::array<unsigned char, HEADER_SIZE> m_header{};
  std::size_t m_header_size = 0;
  std::size_t m_body_left = 0;
  Octets m_output;
};

class Server {
 public:
  explicit Server(const Octets& reply) : m_reply(reply), m_epoll(checked(epoll_create1(0), "epoll_create1")) {}

  // On any thread.
  void adopt(int fd) {
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.ptr = new Connection(fd);
    checked(epoll_ctl(m_epoll, EPOLL_CTL_ADD, fd, &event), "epoll_ctl");
  }

  [[noreturn]] void run() {
    Octets buffer(std::size_t{64} * 1024);
    std::array<epoll_event, 256> events;
    for (;;) {
      const int count = epoll_wait(m_epoll, events.data(), static_cast<int>(events.size()), -1);
      for (int i = 0; i < count; ++i) {
        auto* const connection = static_cast<Connection*>(events[static_cast<std::size_t>(i)].data.ptr);
        if (!connection->serve(buffer, m_reply)) delete connection;
      }
    }
  }

 private:
  const Octets& m_reply;
  const int m_epoll;
};

int listen_on(const std::string& host, std::uint16_t port) {
  const int fd = checked(socket(AF_INET, SOCK_STREAM, 0), "socket");
  const int on = 1;
  setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  inet_pton(AF_INET, host.c_str(), &address.sin_addr);
  checked(bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address), "bind");
  checked(listen(fd, SOMAXCONN), "listen");
  return fd;
}

[[noreturn]] void serve(const std::string& host, std::uint16_t port, unsigned threads, const Octets& reply) {
  std::vector<std::unique_ptr<Server>> servers;
  for (unsigned i = 0; i < threads; ++i) {
    servers.push_back(std::make_unique<Server>(reply));
    std::thread([server = servers.back().get()] { server->run(); }).detach();
  }
  const int listener = listen_on(host, port);
  std::cout << "ready" << std::endl;
  for (std::size_t next = 0;; ++next) {
    const int fd = checked(accept(listener, nullptr, nullptr), "accept");
    const int on = 1;
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    servers[next % servers.size()]->adopt(fd);
  }
}

}  // namespace

int main(int argc, char** argv) {
  std::string host = "127.0.0.1";
  std::uint16_t port = 2809;
  unsigned threads = std::max(std::thread::hardware_concurrency(), 1u);
  std::string reply_path;
  CLI::App app("Answers every GIOP message with the same octets.");
  app.add_option("--host", host, "IPv4 address to listen on")->capture_default_str();
  app.add_option("--port", port)->capture_default_str();
  app.add_option("--threads", threads, "Over which the connections are spread")
      ->check(CLI::PositiveNumber)
      ->capture_default_str();
  app.add_option("--reply", reply_path, "File with the answer's octets")->required()->check(CLI::ExistingFile);
  CLI11_PARSE(app, argc, argv);
  try {
    std::ifstream file(reply_path, std::ios::binary);
    const Octets reply{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    serve(host, port, threads, reply);
  } catch (const std::exception& error) {
    std::cerr << "echo_baseline: " << error.what() << std::endl;
    return 1;
  }
}
