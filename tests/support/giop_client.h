// A connection to a GIOP server, octets in and octets out.
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "tests/support/giop_reply.h"

namespace support {

class GiopClient {
 public:
  struct Options {
    std::string from = {};   // the address to come from; empty: any
    int receive_buffer = 0;  // octets that the system keeps for it; 0: as usual
  };

  // Raises std::runtime_error when nobody listens there.
  GiopClient(const std::string& host, int port) : GiopClient(host, port, Options()) {}
  GiopClient(const std::string& host, int port, const Options& options);
  ~GiopClient();
  GiopClient(GiopClient&& other) noexcept;
  GiopClient& operator=(GiopClient&&) = delete;

  // Its own, as "HOST:PORT": what the other side calls it.
  std::string address() const;

  void send(const Octets& octets);
  // As send, but false when the other side has closed.
  bool try_send(const Octets& octets);
  // Closes only the sending side.
  void finish_sending();
  // The connection will not be closed in order, but reset: what is not sent yet is lost.
  void reset_at_end();

  // The next message. Raises std::runtime_error when none comes within the limit (stretched) or the connection ends.
  RawMessage receive(std::chrono::milliseconds limit = std::chrono::seconds(20));
  Reply receive_reply(std::chrono::milliseconds limit = std::chrono::seconds(20)) {
    return parse_reply(receive(limit));
  }
  Reply call(const Octets& request) {
    send(request);
    return receive_reply();
  }

  // Waits until the connection ends; false when a message arrives instead or the limit passes.
  bool wait_for_end(std::chrono::milliseconds limit = std::chrono::seconds(20));
  // A message or the end is there already. Does not wait.
  bool something_arrived() const;

 private:
  // Fewer octets than asked when the connection ends.
  Octets read_octets(std::size_t size, std::chrono::steady_clock::time_point end);

  int m_fd;
};

}  // namespace support
