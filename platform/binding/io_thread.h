#pragma once

#include <asio/io_context.hpp>
#include <asio/ip/tcp.hpp>
#include <asio/post.hpp>
#include <asio/steady_timer.hpp>
#include <atomic>
#include <memory>
#include <span>
#include <thread>
#include <unordered_map>
#include <vector>

#include "platform/base/qz_mutex.h"
#include "platform/binding/front_door_context.h"
#include "platform/binding/request_list.h"

namespace QZ_Binding {

class Connection;
class WorkerPool;

// One of the threads that serve connections, with everything that belongs to it. Whatever is not marked otherwise is
// for this thread itself.
class IoThread {
 public:
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
  void adopt(asio::ip::tcp::socket socket, const asio::ip::address& peer, std::span<const int> roles);
  // On any thread: something has happened to a request of one of its connections.
  void notice(RequestRecord& record);
  // On any thread: the request has lost its last reference.
  void recycle(RequestRecord* record);

  asio::io_context& io() { return m_io; }
  FrontDoorContext& context() { return m_context; }
  WorkerPool& workers() { return m_workers; }

  // A record to begin.
  RequestRecord& new_record();
  // Runs f, and then lets the connections that were touched write and read. Everything here runs in a turn, so that
  // what one turn has to say to a client goes out in one piece.
  template <class Function>
  void turn(Function f) {
    m_in_turn = true;
    f();
    serve_touched();
    m_in_turn = false;
  }
  // The connection wants to be served at the end of the turn.
  void touch(std::shared_ptr<Connection> connection);
  void remove(Connection& connection);
  // Requests of connections that are gone, or of interceptors that may have forgotten them.
  RequestList& orphans() { return m_orphans; }
  std::span<unsigned char> read_buffer() { return m_read_buffer; }

 private:
  void run();
  void take_mail();
  void serve_touched();
  void wait_for_sweep();
  void sweep();

  FrontDoorContext& m_context;
  WorkerPool& m_workers;
  asio::io_context m_io{1};
  asio::executor_work_guard<asio::io_context::executor_type> m_work{m_io.get_executor()};
  asio::steady_timer m_sweep_timer{m_io};
  std::chrono::milliseconds m_sweep_interval;
  std::thread m_thread;

  QZ_Mutex m_mail_mutex;                                        // guards m_mail
  std::vector<RequestRecord*> m_mail GUARDED_BY(m_mail_mutex);  // noticed on other threads; one reference each

  std::unordered_map<Connection*, std::shared_ptr<Connection>> m_connections;
  std::vector<std::shared_ptr<Connection>> m_touched;
  std::vector<RequestRecord*> m_taken_mail;  // kept for its capacity
  std::vector<RequestRecord*> m_free;
  std::vector<unsigned char> m_read_buffer;
  RequestList m_orphans;
  bool m_in_turn = false;
  bool m_closing = false;
};

}  // namespace QZ_Binding
