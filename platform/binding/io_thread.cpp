#include "platform/binding/io_thread.h"

#include <algorithm>
#include <utility>

#include "platform/base/short_slices.h"
#include "platform/binding/connection.h"

namespace QZ_Binding {

namespace {

constexpr std::size_t READ_SIZE = std::size_t{64} * 1024;
constexpr std::size_t KEPT_RECORDS = 1024;

thread_local IoThread* current_thread = nullptr;

// How often deadlines are looked at: late by a quarter of the shortest, but not oftener than is cheap.
std::chrono::milliseconds sweep_interval(const FrontDoorConfig& config) {
  using std::chrono::milliseconds;
  milliseconds shortest = std::chrono::seconds(4);
  for (const milliseconds time : {config.idle_time, config.message_time, config.park_time, config.close_time}) {
    if (time.count() > 0) shortest = std::min(shortest, time);
  }
  return std::max(shortest / 4, milliseconds(10));
}

}  // namespace

IoThread::IoThread(FrontDoorContext& context, WorkerPool& workers)
    : m_context(context),
      m_workers(workers),
      m_sweep_interval(sweep_interval(context.config)),
      m_read_buffer(READ_SIZE) {}

IoThread::~IoThread() {
  take_mail();
  while (RequestRecord* record = m_orphans.take()) delete record;
  for (RequestRecord* record : m_free) delete record;
}

void IoThread::start() {
  m_thread = std::thread([this] { run(); });
}

void IoThread::run() {
  using std::chrono::milliseconds;
  current_thread = this;
  ask_for_short_slices();
  m_now = std::chrono::steady_clock::now();
  auto next_sweep = m_now + m_sweep_interval;
  while (!m_stopped) {
    const auto events = m_poller.wait(std::chrono::ceil<milliseconds>(next_sweep - m_now));
    m_now = std::chrono::steady_clock::now();
    // All are read before any is answered: a client that is woken by its reply does not take the processor from here.
    turn([&] {
      for (const epoll_event& event : events) static_cast<Connection*>(event.data.ptr)->ready(event.events);
    });
    if (m_poller.woken()) {
      turn([this] { take_mail(); });
      run_tasks();
    }
    if (m_now >= next_sweep) {
      turn([this] { sweep(); });
      next_sweep = m_now + m_sweep_interval;
    }
    m_removed.clear();
  }
}

void IoThread::post(Task f) {
  {
    QZ_MutexLock lock(m_mail_mutex);
    m_tasks.push_back(std::move(f));
  }
  m_poller.wake();
}

void IoThread::run_tasks() {
  std::vector<Task> tasks;
  {
    QZ_MutexLock lock(m_mail_mutex);
    tasks.swap(m_tasks);
  }
  for (const Task& task : tasks) turn(task);
}

void IoThread::close_connections() {
  post([this] {
    m_closing = true;
    const auto connections = m_connections;
    for (const auto& [key, connection] : connections) connection->say_goodbye();
  });
}

void IoThread::stop() {
  if (!m_thread.joinable()) return;
  post([this] {
    while (!m_connections.empty()) {
      const auto connection = m_connections.begin()->second;
      connection->close();
    }
    m_stopped = true;
  });
  m_thread.join();
}

void IoThread::adopt(StreamSocket socket, const asio::ip::tcp::endpoint& peer, std::span<const int> roles) {
  auto connection = std::make_shared<Connection>(*this, std::move(socket), peer, roles);
  post([this, connection = std::move(connection)] {
    m_connections.emplace(connection.get(), connection);
    connection->start();
    if (m_closing) connection->say_goodbye();
  });
}

void IoThread::remove(Connection& connection) {
  const auto entry = m_connections.find(&connection);
  m_removed.push_back(std::move(entry->second));
  m_connections.erase(entry);
}

void IoThread::notice(RequestRecord& record) {
  if (current_thread == this) {
    record.connection().settle(record);
    return;
  }
  if ((record.mark(RequestRecord::POSTED) & RequestRecord::POSTED) != 0) return;
  record.add_ref();
  bool first;
  {
    QZ_MutexLock lock(m_mail_mutex);
    first = m_mail.empty();
    m_mail.push_back(&record);
  }
  if (first) m_poller.wake();
}

void IoThread::take_mail() {
  {
    QZ_MutexLock lock(m_mail_mutex);
    m_taken_mail.swap(m_mail);
  }
  for (RequestRecord* record : m_taken_mail) {
    record->unmark(RequestRecord::POSTED);
    record->connection().settle(*record);
    record->release();
  }
  m_taken_mail.clear();
}

RequestRecord& IoThread::new_record() {
  if (m_free.empty()) return *new RequestRecord;
  RequestRecord* record = m_free.back();
  m_free.pop_back();
  return *record;
}

void IoThread::recycle(RequestRecord* record) {
  if (current_thread != this || m_free.size() >= KEPT_RECORDS) {
    delete record;
    return;
  }
  record->clear();
  m_free.push_back(record);
}

void IoThread::touch(Connection& connection) {
  m_touched.push_back(&connection);
}

void IoThread::serve_touched() {
  // Serving one may touch others.
  for (std::size_t i = 0; i < m_touched.size(); ++i) m_touched[i]->serve();
  m_touched.clear();
}

void IoThread::sweep() {
  std::vector<std::shared_ptr<Connection>> overdue;
  for (const auto& [key, connection] : m_connections) {
    if (connection->overdue(m_now) != Connection::Overdue::NOTHING) overdue.push_back(connection);
  }
  for (const auto& connection : overdue) connection->end_overdue(m_now);
  if (m_context.config.park_time.count() == 0) return;
  for (const auto& [key, connection] : m_connections) connection->expire_requests(m_now);
}

}  // namespace QZ_Binding
