#pragma once

#include <asio/ip/tcp.hpp>
#include <atomic>
#include <functional>
#include <memory>
#include <span>
#include <thread>
#include <unordered_map>
#include <vector>

#include "platform/base/qz_mutex.h"
#include "platform/binding/front_door_context.h"
#include "platform/binding/poller.h"
#include "platform/binding/request_list.h"
#include "platform/binding/stream_socket.h"

namespace QZ_Binding {

class Connection;
class WorkerPool;

// One of the threads that serve connections, with everything that belongs to it. Whatever is not marked otherwise is
// for this thread itself.
class IoThread {
 public:
  // std::system_error when the system has no descriptors left.
  IoThread(FrontDoorContext& context, WorkerPool& workers);
  // After stop. Frees all requests that belong to its connections.
  ~IoThread();

  // For the front door's owner.
  void start();
  // On any thread: ends all connections in a way that tells the clients; returns at once.
  void close_connections();
  // For the front door's owner: closes what is still open, and joins.
  void stop();

  // On any thread: serves the socket from now on. The peer has been counted.
  void adopt(StreamSocket socket, const asio::ip::tcp::endpoint& peer, std::span<const int> roles);
  // On any thread: something has happened to a request of one of its connections.
  void notice(RequestRecord& record);
  // On any thread: the request has lost its last reference.
  void recycle(RequestRecord* record);

  FrontDoorContext& context() { return m_context; }
  WorkerPool& workers() { return m_workers; }
  Poller& poller() { return m_poller; }
  // When the present turn began, which is near enough for time limits.
  QZ_Giop::Time now() const { return m_now; }

  // A record to begin.
  RequestRecord& new_record();
  // The connection wants to be served at the end of the turn.
  void touch(Connection& connection);
  void remove(Connection& connection);
  // Requests of connections that are gone, or of interceptors that may have forgotten them.
  RequestList& orphans() { return m_orphans; }
  std::span<unsigned char> read_buffer() { return m_read_buffer; }

 private:
  using Task = std::function<void()>;

  void run();
  // Runs f, and then lets the connections that were touched write and read. Everything here runs in a turn, so that
  // what one turn has to say to a client goes out in one piece.
  template <class Function>
  void turn(Function f) {
    f();
    serve_touched();
  }
  // On any thread: f runs in a turn of this one.
  void post(Task f);
  void run_tasks();
  void take_mail();
  void serve_touched();
  void sweep();

  FrontDoorContext& m_context;
  WorkerPool& m_workers;
  const std::chrono::milliseconds m_sweep_interval;
  Poller m_poller;
  std::thread m_thread;

  QZ_Mutex m_mail_mutex;                                        // guards the two members below
  std::vector<RequestRecord*> m_mail GUARDED_BY(m_mail_mutex);  // noticed on other threads; one reference each
  std::vector<Task> m_tasks GUARDED_BY(m_mail_mutex);

  QZ_Giop::Time m_now;
  std::unordered_map<Connection*, std::shared_ptr<Connection>> m_connections;
  // Until the events are done with that were waiting at the same time as theirs.
  std::vector<std::shared_ptr<Connection>> m_removed;
  std::vector<Connection*> m_touched;        // those closed since are in m_removed
  std::vector<RequestRecord*> m_taken_mail;  // kept for its capacity
  std::vector<RequestRecord*> m_free;
  std::vector<unsigned char> m_read_buffer;
  RequestList m_orphans;
  bool m_closing = false;
  bool m_stopped = false;
};

}  // namespace QZ_Binding
