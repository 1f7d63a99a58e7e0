#pragma once

#include <asio/io_context.hpp>
#include <asio/ip/tcp.hpp>
#include <asio/steady_timer.hpp>
#include <functional>
#include <string>

#include "platform/binding/front_door_context.h"

namespace QZ_Binding {

class IoThread;

// One port on which clients are accepted. Belongs to the thread that runs the io_context, unless marked otherwise.
class Listener {
 public:
  // choose: which thread serves the next connection.
  Listener(FrontDoorContext& context, const ListenerConfig& config, asio::io_context& io,
           std::function<IoThread&()> choose);

  // For the front door's owner, before start: takes the port. std::system_error when it cannot be had.
  void open();
  // Where it listens: as configured, with the actual port.
  QZ_IOR::Address address() const { return {m_config.host, m_port}; }
  bool published() const { return m_config.published; }
  // Begins to accept. std::system_error.
  void start();
  // Accepts nothing more. In its thread, or when that does not run.
  void close();

 private:
  void accept();
  void serve(asio::ip::tcp::socket socket);
  void retry_later(const std::error_code& error);

  FrontDoorContext& m_context;
  const ListenerConfig& m_config;
  const std::function<IoThread&()> m_choose;
  asio::ip::tcp::acceptor m_acceptor;
  asio::steady_timer m_retry_timer;
  std::uint16_t m_port = 0;
};

}  // namespace QZ_Binding
