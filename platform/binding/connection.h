#pragma once

#include <asio/ip/tcp.hpp>
#include <atomic>
#include <deque>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "platform/binding/front_door_context.h"
#include "platform/binding/giop/message_reader.h"
#include "platform/binding/request_list.h"
#include "platform/binding/stream_socket.h"

namespace QZ_Binding {

class IoThread;

// One client's connection. Belongs to an IoThread; what is not marked otherwise is for that thread, in a turn.
// Records of its requests keep it alive after it was closed.
class Connection : public std::enable_shared_from_this<Connection> {
 public:
  using Time = QZ_Giop::Time;
  enum class Overdue { NOTHING, IDLE, MESSAGE, OUTPUT, GONE, CLOSE };

  // roles: the listener's; they must outlive the connection.
  Connection(IoThread& thread, StreamSocket socket, const asio::ip::tcp::endpoint& peer, std::span<const int> roles);
  ~Connection();

  // On any thread.
  IoThread& thread() const { return m_thread; }
  FrontDoorContext& context() const { return m_context; }
  std::span<const int> roles() const { return m_roles; }
  bool gone() const { return m_gone.load(std::memory_order_acquire); }

  void start();
  // The socket is ready for some of EPOLLIN and EPOLLOUT, or broken.
  void ready(std::uint32_t events);
  // Writes what there is to write, reads on where reading paused, waits for more.
  void serve();
  // Something has happened to a request of this connection, which may have been closed since. The record may be gone
  // afterwards.
  void settle(RequestRecord& record);

  // Tells the client that what is unanswered was not processed, and closes.
  void say_goodbye();
  // At once. Requests that somebody still has become the thread's orphans.
  void close();

  // Which of its deadlines has passed.
  Overdue overdue(Time now);
  void end_overdue(Time now);
  // Answers the requests that have waited longer than they may.
  void expire_requests(Time now);

 private:
  enum class State {
    OPEN,
    FINISHING,  // requests are not read any more; what is to be written still is
    LINGERING,  // nothing more to write; waiting for the client to close, so that it sees all that was written
    CLOSED
  };
  // While a request for some endpoint is with the worker pool: those for the same endpoint that come after it.
  using Lane = std::deque<RequestRecord*>;
  struct KeyHash {
    using is_transparent = void;
    std::size_t operator()(std::string_view key) const { return std::hash<std::string_view>()(key); }
  };

  void read_some();
  void end_of_input();
  void process(std::span<const unsigned char>& octets, Time now);
  void process_unread();
  void write_some();
  // Tells the poller what the connection waits for now.
  void update_interest();
  // Nothing may follow a CloseConnection or a MessageError.
  bool answers_may_follow() const {
    return m_state == State::OPEN || (m_state == State::FINISHING && m_wait_for_answers);
  }
  std::size_t output_size() const { return m_output.size() + m_writing.size() - m_written; }
  bool must_pause();
  void report_pause(const FrontDoorMsg& message, FrontDoorCounters::Counter& counter, std::size_t value);

  void take_request(const QZ_Giop::RequestHeader& header, Time now);
  // Answers without a record what needs neither an interceptor nor time; false: it does need them.
  bool forward_at_once(const QZ_Giop::RequestHeader& header);
  void dispatch(RequestRecord& record);
  void submit(RequestRecord& record);
  void leave_lane(RequestRecord& record);
  void cancel(std::uint32_t request_id);
  void send(RequestRecord& record);
  // From its list.
  void withdraw(RequestRecord& record);
  // It is of no concern to this connection any more, but its interceptor may still use it.
  void disown(RequestRecord& record);
  void forget(RequestRecord& record);

  // Reads no more requests, and closes when everything is written and, if so wanted, answered.
  void finish(bool wait_for_answers);
  void refuse(QZ_Giop::MessageFault fault);
  void end_by_message_error(const std::string& reason);
  void touch();
  std::string peer_text() const;

  IoThread& m_thread;
  FrontDoorContext& m_context;
  StreamSocket m_socket;
  const asio::ip::tcp::endpoint m_peer;
  const std::span<const int> m_roles;
  const bool m_admits_clients;
  std::atomic<bool> m_gone{false};

  State m_state = State::OPEN;
  bool m_touched = false;
  std::uint32_t m_interest = 0;    // the events that are waited for
  bool m_writing_blocked = false;  // there was no room in the socket
  bool m_end_of_input = false;
  bool m_wait_for_answers = false;  // FINISHING
  bool m_paused_for_requests = false;
  bool m_paused_for_output = false;
  Time m_last_activity;   // served: octets came, or a request was done with
  Time m_write_progress;  // the peer took some octets, or began to owe it
  Time m_resumed;         // reading began, or went on after a pause
  Time m_closing_since;   // LINGERING

  QZ_Giop::MessageReader m_reader;
  std::vector<unsigned char> m_unread;  // arrived, and to be read when reading goes on
  std::size_t m_unread_position = 0;
  QZ_Giop::Buffer m_output;   // replies to be written next
  QZ_Giop::Buffer m_writing;  // being written, from m_written on
  std::size_t m_written = 0;

  RequestList m_requests;                                                   // all that are not done with
  std::unordered_map<std::uint32_t, RequestRecord*> m_by_id;                // those whose answer the client waits for
  std::unordered_map<std::string, Lane, KeyHash, std::equal_to<>> m_lanes;  // by the endpoint's key prefix
};

}  // namespace QZ_Binding
