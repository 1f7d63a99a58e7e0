// Requests as the front door would hand them to an interceptor, with a record of how they were answered.
#pragma once

#include <qz_binding.hh>

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "platform/base/ref_count_handle.h"
#include "platform/orb/ref_counted_local_object.h"
#include "poa_locator/interceptors/request_info.h"

// How a request was answered.
struct Outcome {
  enum Kind { NONE, FORWARD, PERMANENT_FORWARD, UNKNOWN_OBJECT, EXCEPTION };
  Kind kind = NONE;
  std::string forwarded_key;           // the object key of the forward
  std::string type_id;                 // of the forward
  std::string exception;               // name
  CORBA::ULong minor = 0;              // of a system exception
  bool completed_no = false;           // of a system exception
  unsigned outcomes = 0;               // how often one was set
  std::vector<std::string> callbacks;  // in their order
  unsigned sequence = 0;               // among the answers of all requests of the test, from 1
  std::thread::id thread;              // that answered
};

// One request, of either kind. Keeps its own octets.
class FakeRequest {
 public:
  enum Kind { REQUEST, LOCATE };

  explicit FakeRequest(const std::string& key, Kind kind = REQUEST);
  // Without an object key.
  explicit FakeRequest(Kind kind);
  ~FakeRequest();
  FakeRequest(const FakeRequest&) = delete;
  FakeRequest& operator=(const FakeRequest&) = delete;

  Kind kind() const { return m_kind; }
  QZ_Binding::ServerRequestData_ptr data() const;
  QZ_Binding::ServerLocateRequestData_ptr locate_data() const;
  QZ_Binding::ServerRequestCallback_ptr callback() const;

  // The client goes.
  void abandon();
  // As the front door does it.
  void give_to(QZ_Binding::ServerRequestInterceptor_ptr interceptor);
  // The plug-in's view.
  std::unique_ptr<RequestInfoBase> info() const;

  bool answered() const;
  // Waits for the answer; NONE when none comes.
  Outcome wait() const;
  Outcome outcome() const;

 private:
  class State;
  class Data;
  class LocateData;
  class Callback;

  FakeRequest(Kind kind, std::unique_ptr<CORBA::OctetSeq> key);

  const Kind m_kind;
  const std::shared_ptr<State> m_state;
  const RefCountHandle<Data> m_data;
  const RefCountHandle<LocateData> m_locate_data;
  const RefCountHandle<Callback> m_callback;
};

// A request whose operations do what the test says.
class ThrowingRequest : public RequestInfoBase {
 public:
  ThrowingRequest() : RequestInfoBase(QZ_Binding::ServerRequestCallback::_nil()) {}

  std::function<const CORBA::OctetSeq*()> m_object_key = [] { return nullptr; };
  std::string m_exception;  // the name of what was set
  CORBA::ULong m_minor = 0;
  bool m_completed_no = false;
  std::function<void()> m_on_exception = [] {};

  const CORBA::OctetSeq* object_key() override { return m_object_key(); }
  void set_forward_ior(QZ_IOR::IOR_ptr) override {}
  void set_exception(const CORBA::Exception& ex) override {
    m_exception = ex._name();
    if (const auto* system = dynamic_cast<const CORBA::SystemException*>(&ex)) {
      m_minor = system->minor();
      m_completed_no = system->completed() == CORBA::COMPLETED_NO;
    }
    m_on_exception();
  }
  std::unique_ptr<RequestInfoBase> copy() const override { return std::make_unique<ThrowingRequest>(*this); }
};
