// One request from its arrival until its interceptor has finished with it and its reply is on its way.
#pragma once

#include <qz_binding.hh>

#include <atomic>
#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "platform/binding/giop/message_encoder.h"
#include "platform/binding/giop/request_assembly.h"

namespace QZ_Binding {

class Connection;
class RequestList;

// What an interceptor sees of it are the data (of either kind) and the callback, which are parts of it and live as long
// as it does. Counted: the connection holds one reference until the request is finished and its interceptor call has
// returned, the interceptor one until it calls finished().
//
// The outcome may be set on any thread; everything that touches the connection happens on the connection's.
class RequestRecord {
 public:
  // What has happened to the request so far.
  enum Mark : std::uint32_t {
    CLAIMED = 1,     // somebody is setting the outcome, or has
    ANSWERED = 2,    // the reply is there
    ANNOUNCED = 4,   // and may go out
    FINISHED = 8,    // the interceptor does not use the request any more
    RETURNED = 16,   // the interceptor call has returned, or there will be none
    RAISED = 32,     // it returned by an exception: the interceptor may still use the request, or not
    CANCELLED = 64,  // by the client
    POSTED = 128     // on its way to the connection's thread
  };

  RequestRecord() = default;
  RequestRecord(const RequestRecord&) = delete;
  RequestRecord& operator=(const RequestRecord&) = delete;

  // Begins a request, with one reference each for the connection and the interceptor. For a new record, or one that
  // was released.
  void begin(std::shared_ptr<Connection> connection, const QZ_Giop::RequestHeader& header, QZ_Giop::Time arrival);
  // Ends it, so that the record can begin another.
  void clear();

  void add_ref() { m_references.fetch_add(1, std::memory_order_relaxed); }
  void release();

  // Constant while the request lasts.
  Connection& connection() const { return *m_connection; }
  bool locate() const { return m_locate; }
  bool response_expected() const { return m_response_expected; }
  std::uint32_t id() const { return m_to.request_id; }
  std::span<const unsigned char> key() const { return m_key; }
  QZ_Giop::Time arrival() const { return m_arrival; }

  // Nobody waits for its outcome any more. For who has not set it.
  bool abandoned() const;

  std::uint32_t marks() const { return m_marks.load(std::memory_order_acquire); }
  // Adds marks, and returns those that were there before.
  std::uint32_t mark(std::uint32_t marks) { return m_marks.fetch_or(marks, std::memory_order_acq_rel); }
  void unmark(std::uint32_t marks) { m_marks.fetch_and(~marks, std::memory_order_acq_rel); }

  ServerRequestData_ptr data() { return &m_data; }
  ServerLocateRequestData_ptr locate_data() { return &m_data; }
  ServerRequestCallback_ptr callback() { return &m_callback; }

  // Set the outcome, unless there is one already. On any thread.
  // BAD_PARAM when the target is nil, or no IOR of this process's making.
  void forward(QZ_IOR::IOR_ptr target, bool permanent);
  void refuse(const CORBA::Any& exception);
  void refuse(const CORBA::SystemException& exception);
  // UNKNOWN_OBJECT for a LocateRequest, OBJECT_NOT_EXIST for a Request.
  void refuse_unknown();
  // The outcome may go out, if there is one.
  void announce();
  // Gives up the interceptor's reference: the record may be gone afterwards.
  void finish();

  // The encoded reply, empty when none is wanted. For the connection's thread, once ANSWERED.
  const QZ_Giop::Buffer& reply() const { return m_reply; }

  // For the connection's thread alone.
  struct Links {
    RequestRecord* previous = nullptr;
    RequestRecord* next = nullptr;
    RequestList* list = nullptr;  // that it is in; null once it has been forgotten
    bool reply_sent = false;
    bool in_lane = false;
  } links;

 private:
  // The parts of a record share its count.
  // Of either kind, of which the interceptor sees one.
  class Data : public virtual ServerRequestData, public virtual ServerLocateRequestData {
   public:
    explicit Data(RequestRecord& record) : m_record(record) {}
    void _add_ref() override { m_record.add_ref(); }
    void _remove_ref() override { m_record.release(); }
    CORBA::OctetSeq* object_key() override { return m_record.new_key(); }
    void set_forward(QZ_IOR::IOR_ptr target, CORBA::Boolean permanent) override { m_record.forward(target, permanent); }
    void set_unknown_object() override { m_record.refuse_unknown(); }
    void set_exception(const CORBA::Any& ex, CORBA::Boolean) override { m_record.refuse(ex); }
    void set_exception(const CORBA::Any& ex) override { m_record.refuse(ex); }
    void* _ptrToObjRef(const char* id) override {
      void* const found = ServerRequestData::_ptrToObjRef(id);
      return found ? found : ServerLocateRequestData::_ptrToObjRef(id);
    }

   private:
    RequestRecord& m_record;
  };
  class Callback : public virtual ServerRequestCallback {
   public:
    explicit Callback(RequestRecord& record) : m_record(record) {}
    void _add_ref() override { m_record.add_ref(); }
    void _remove_ref() override { m_record.release(); }
    CORBA::Boolean abandoned() override { return m_record.abandoned(); }
    void outcome_set() override { m_record.announce(); }
    void finished() override { m_record.finish(); }

   private:
    RequestRecord& m_record;
  };

  CORBA::OctetSeq* new_key();
  bool claim() { return (mark(CLAIMED) & CLAIMED) == 0; }
  void encode_exception(std::string_view repository_id, std::uint32_t minor, std::uint32_t completion);

  std::shared_ptr<Connection> m_connection;
  QZ_Giop::ReplyTo m_to;
  bool m_locate = false;
  bool m_response_expected = true;
  std::vector<unsigned char> m_key;
  QZ_Giop::Time m_arrival;
  QZ_Giop::Buffer m_reply;  // written by who has set CLAIMED, before ANSWERED

  std::atomic<std::uint32_t> m_marks{0};
  std::atomic<std::uint32_t> m_references{0};
  Data m_data{*this};
  Callback m_callback{*this};
};

}  // namespace QZ_Binding
