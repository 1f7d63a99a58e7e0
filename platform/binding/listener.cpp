#include "platform/binding/listener.h"

#include <utility>
#include <vector>

#include "platform/binding/io_thread.h"

namespace QZ_Binding {

namespace {

using tcp = asio::ip::tcp;

// While descriptors or memory are short, the waiting clients stay in the kernel's queue.
constexpr auto RETRY_TIME = std::chrono::milliseconds(100);

// IPv4 first: a name like localhost stands for both, and most references are resolved over IPv4.
std::vector<tcp::endpoint> resolve(const ListenerConfig& config, const tcp::acceptor::executor_type& io) {
  tcp::resolver resolver(io);
  const auto results = resolver.resolve(config.host, std::to_string(config.port), tcp::resolver::passive);
  std::vector<tcp::endpoint> endpoints;
  for (const bool v4 : {true, false}) {
    for (const auto& result : results) {
      if (result.endpoint().address().is_v4() == v4) endpoints.push_back(result.endpoint());
    }
  }
  return endpoints;
}

// Clients that come over IPv4 to an IPv6 socket count as what they are.
tcp::endpoint peer_of(const tcp::socket& socket) {
  std::error_code ignored;
  const tcp::endpoint peer = socket.remote_endpoint(ignored);
  const auto address = peer.address();
  if (!address.is_v6() || !address.to_v6().is_v4_mapped()) return peer;
  return {asio::ip::make_address_v4(asio::ip::v4_mapped, address.to_v6()), peer.port()};
}

}  // namespace

Listener::Listener(FrontDoorContext& context, const ListenerConfig& config, asio::io_context& io,
                   std::function<IoThread&()> choose)
    : m_context(context), m_config(config), m_choose(std::move(choose)), m_acceptor(io), m_retry_timer(io) {}

void Listener::open() {
  const std::string name = m_config.host + ":" + std::to_string(m_config.port);
  std::error_code error = asio::error::host_not_found;
  try {
    for (const tcp::endpoint& endpoint : resolve(m_config, m_acceptor.get_executor())) {
      m_acceptor.open(endpoint.protocol(), error);
      if (!error) m_acceptor.set_option(tcp::acceptor::reuse_address(true), error);
      if (!error) m_acceptor.bind(endpoint, error);
      if (!error) break;
      std::error_code ignored;
      m_acceptor.close(ignored);
    }
  } catch (const std::system_error& e) {
    error = e.code();
  }
  if (error) throw std::system_error(error, "cannot listen on " + name);
  m_port = m_acceptor.local_endpoint().port();
}

void Listener::start() {
  std::error_code error;
  m_acceptor.listen(asio::socket_base::max_listen_connections, error);
  if (error) throw std::system_error(error, "cannot listen on " + m_config.host + ":" + std::to_string(m_port));
  accept();
}

void Listener::close() {
  std::error_code ignored;
  m_acceptor.close(ignored);
  m_retry_timer.cancel();
}

void Listener::accept() {
  m_acceptor.async_accept([this](const std::error_code& error, tcp::socket socket) {
    if (!m_acceptor.is_open()) return;
    if (error && error != asio::error::connection_aborted) return retry_later(error);
    if (!error) serve(std::move(socket));
    accept();
  });
}

void Listener::serve(tcp::socket socket) {
  const tcp::endpoint peer = peer_of(socket);
  FrontDoorCounters& counters = m_context.counters;
  const auto report = [&](const FrontDoorMsg& message, std::size_t limit) {
    m_context.reporter.report_seldom(
        message, [&]() -> std::vector<std::string> { return {peer.address().to_string(), std::to_string(limit)}; });
  };
  switch (m_context.connections.enter(peer.address(), m_context.config)) {
    case ConnectionCount::Verdict::TOO_MANY:
      ++counters.connections_refused;
      report(CONNECTION_LIMIT_MSG, m_context.config.max_connections);
      return;
    case ConnectionCount::Verdict::TOO_MANY_OF_ADDRESS:
      ++counters.connections_refused_for_address;
      report(ADDRESS_LIMIT_MSG, m_context.config.max_connections_per_address);
      return;
    case ConnectionCount::Verdict::ADMITTED:
      ++counters.connections_accepted;
      ++counters.connections_open;
      m_choose().adopt(StreamSocket(socket.release()), peer, m_config.roles);
  }
}

void Listener::retry_later(const std::error_code& error) {
  ++m_context.counters.accept_failures;
  m_context.reporter.report_seldom(ACCEPT_FAILED_MSG, [&]() -> std::vector<std::string> {
    return {m_config.host + ":" + std::to_string(m_port), error.message()};
  });
  m_retry_timer.expires_after(RETRY_TIME);
  m_retry_timer.async_wait([this](const std::error_code& timer_error) {
    if (!timer_error && m_acceptor.is_open()) accept();
  });
}

}  // namespace QZ_Binding
