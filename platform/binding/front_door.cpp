#include "platform/binding/front_door.h"

#include <algorithm>
#include <asio/io_context.hpp>
#include <asio/ip/host_name.hpp>
#include <asio/post.hpp>
#include <thread>
#include <utility>

#include "platform/binding/connection.h"
#include "platform/binding/dispatcher.h"
#include "platform/binding/io_thread.h"
#include "platform/binding/listener.h"
#include "platform/binding/worker_pool.h"

namespace QZ_Binding {

namespace {

// With a limit of 0 nothing would ever be read.
FrontDoorConfig usable(FrontDoorConfig config) {
  for (std::size_t* limit :
       {&config.max_connections, &config.max_connections_per_address, &config.max_header_size, &config.max_key_size,
        &config.max_requests_per_connection, &config.max_incomplete_requests, &config.max_output_size}) {
    *limit = std::max<std::size_t>(*limit, 1);
  }
  config.workers = std::max(config.workers, 1u);
  if (config.threads == 0) config.threads = std::max(std::thread::hardware_concurrency(), 1u);
  return config;
}

std::string text_of(const std::vector<QZ_IOR::Address>& addresses) {
  std::string text;
  for (const auto& address : addresses) {
    if (!text.empty()) text += ", ";
    text += to_text(address);
  }
  return text;
}

}  // namespace

class FrontDoor::Impl {
 public:
  Impl(FrontDoorConfig config, BindingManagerImpl& manager, QZ_Logging::EventLog_ptr log)
      : m_context(usable(std::move(config)), manager, log),
        m_workers([this](RequestRecord& record) { work(record); },
                  [](RequestRecord& record) { drop_request(record); }) {
    const unsigned threads = m_context.config.threads;
    for (unsigned i = 0; i < threads; ++i) m_threads.push_back(std::make_unique<IoThread>(m_context, m_workers));
    for (const ListenerConfig& listener : m_context.config.listeners) {
      m_listeners.push_back(std::make_unique<Listener>(m_context, listener, m_accepting,
                                                       [this]() -> IoThread& { return next_thread(); }));
    }
    manager._qz_add_ref();
  }

  ~Impl() {
    stop();
    m_listeners.clear();
    m_threads.clear();
    m_context.manager._qz_remove_ref();
  }

  void open() {
    if (m_state != State::NEW) return;
    for (const auto& listener : m_listeners) listener->open();
    m_context.manager.set_addresses(published());
    m_state = State::OPEN;
  }

  void start() {
    open();
    if (m_state != State::OPEN) return;
    for (const auto& listener : m_listeners) {
      listener->start();
      m_context.reporter.report(LISTENING_MSG, {text_of({listener->address()})});
    }
    m_state = State::SERVING;
    m_workers.start(m_context.config.workers);
    for (const auto& thread : m_threads) thread->start();
    m_acceptor = std::thread([this] { m_accepting.run(); });
    m_context.reporter.report(SERVING_MSG, {text_of(published())});
  }

  void stop() {
    const State before = std::exchange(m_state, State::STOPPED);
    if (before != State::SERVING) {
      for (const auto& listener : m_listeners) listener->close();
      return;
    }
    asio::post(m_accepting, [this] {
      for (const auto& listener : m_listeners) listener->close();
    });
    m_acceptor.join();
    for (const auto& thread : m_threads) thread->close_connections();
    m_context.connections.wait_for_none(m_context.config.close_time);
    for (const auto& thread : m_threads) thread->stop();
    m_workers.stop();
    m_context.reporter.report(STOPPED_MSG, {});
  }

  std::vector<QZ_IOR::Address> listening() const {
    std::vector<QZ_IOR::Address> addresses;
    if (m_state == State::NEW) return addresses;
    for (const auto& listener : m_listeners) addresses.push_back(listener->address());
    return addresses;
  }

  const FrontDoorCounters& counters() const { return m_context.counters; }

 private:
  enum class State { NEW, OPEN, SERVING, STOPPED };

  std::vector<QZ_IOR::Address> published() const {
    if (!m_context.config.published.empty()) return m_context.config.published;
    std::vector<QZ_IOR::Address> addresses;
    for (const auto& listener : m_listeners) {
      if (!listener->published()) continue;
      addresses.push_back(listener->address());
      std::string& host = addresses.back().host;
      if (host == "0.0.0.0" || host == "::") host = asio::ip::host_name();
    }
    return addresses;
  }

  IoThread& next_thread() { return *m_threads[m_next_thread++ % m_threads.size()]; }

  // On a worker thread. Who has no use for the answer any more is not waited for.
  void work(RequestRecord& record) {
    record.add_ref();
    if (record.abandoned()) {
      drop_request(record);
    } else {
      dispatch_here(m_context, record);
      record.connection().thread().notice(record);
    }
    record.release();
  }

  FrontDoorContext m_context;
  WorkerPool m_workers;
  std::vector<std::unique_ptr<IoThread>> m_threads;
  asio::io_context m_accepting{1};
  std::thread m_acceptor;  // runs it, until all listeners are closed
  std::vector<std::unique_ptr<Listener>> m_listeners;
  unsigned m_next_thread = 0;  // for m_acceptor
  State m_state = State::NEW;
};

FrontDoor::FrontDoor(FrontDoorConfig config, BindingManagerImpl& manager, QZ_Logging::EventLog_ptr log)
    : m_impl(std::make_unique<Impl>(std::move(config), manager, log)) {}

FrontDoor::~FrontDoor() = default;

void FrontDoor::open() {
  m_impl->open();
}

void FrontDoor::start() {
  m_impl->start();
}

void FrontDoor::stop() {
  m_impl->stop();
}

std::vector<QZ_IOR::Address> FrontDoor::listening() const {
  return m_impl->listening();
}

const FrontDoorCounters& FrontDoor::counters() const {
  return m_impl->counters();
}

}  // namespace QZ_Binding
