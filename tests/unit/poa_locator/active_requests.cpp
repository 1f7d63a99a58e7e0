#include "tests/unit/poa_locator/active_requests.h"

#include "platform/orb/ior_impl.h"
#include "tests/support/wait.h"
#include "tests/unit/poa_locator/imr_support.h"

class FakeRequest::State {
 public:
  explicit State(std::unique_ptr<CORBA::OctetSeq> key) : m_key(std::move(key)) {}

  // A view, as the front door gives it.
  CORBA::OctetSeq* key() const {
    return m_key ? new CORBA::OctetSeq(m_key->length(), m_key->length(), m_key->get_buffer(), false) : nullptr;
  }

  template <class Change>
  void set(Change&& change) {
    const std::lock_guard lock(m_mutex);
    ++m_outcome.outcomes;
    change(m_outcome);
  }
  void called(const char* operation) {
    static std::atomic<unsigned> sequence{0};
    const std::lock_guard lock(m_mutex);
    m_outcome.callbacks.emplace_back(operation);
    m_outcome.sequence = ++sequence;
    m_outcome.thread = std::this_thread::get_id();
  }
  Outcome outcome() const {
    const std::lock_guard lock(m_mutex);
    return m_outcome;
  }

  std::atomic<bool> m_abandoned{false};

 private:
  const std::unique_ptr<CORBA::OctetSeq> m_key;
  mutable std::mutex m_mutex;  // guards m_outcome
  Outcome m_outcome;
};

namespace {

void record_forward(Outcome& outcome, QZ_IOR::IOR_ptr target, bool permanent) {
  outcome.kind = permanent ? Outcome::PERMANENT_FORWARD : Outcome::FORWARD;
  const auto key = dynamic_cast<QZ_IOR::IORImpl&>(*target).object_key();
  outcome.forwarded_key.assign(key.begin(), key.end());
  outcome.type_id = CORBA::String_var(target->type_id()).in();
}

template <class Exception>
bool record_if(Outcome& outcome, const CORBA::Any& any) {
  const Exception* ex = nullptr;
  if (!(any >>= ex)) return false;
  outcome.exception = ex->_name();
  outcome.minor = ex->minor();
  outcome.completed_no = ex->completed() == CORBA::COMPLETED_NO;
  return true;
}

void record_exception(Outcome& outcome, const CORBA::Any& any) {
  outcome.kind = Outcome::EXCEPTION;
  const bool known = record_if<CORBA::TRANSIENT>(outcome, any) || record_if<CORBA::OBJECT_NOT_EXIST>(outcome, any) ||
                     record_if<CORBA::INV_OBJREF>(outcome, any) || record_if<CORBA::UNKNOWN>(outcome, any) ||
                     record_if<CORBA::NO_RESOURCES>(outcome, any) || record_if<CORBA::BAD_PARAM>(outcome, any) ||
                     record_if<CORBA::INTERNAL>(outcome, any) || record_if<CORBA::PERSIST_STORE>(outcome, any);
  if (!known) outcome.exception = "<another>";
}

}  // namespace

class FakeRequest::Data : public virtual QZ_Binding::ServerRequestData, public QZ_CORBA::RefCountedLocalObject {
 public:
  explicit Data(std::shared_ptr<State> state) : m_state(std::move(state)) {}

  CORBA::OctetSeq* object_key() override { return m_state->key(); }
  void set_forward(QZ_IOR::IOR_ptr target, CORBA::Boolean permanent) override {
    m_state->set([&](Outcome& outcome) { record_forward(outcome, target, permanent); });
  }
  void set_exception(const CORBA::Any& ex, CORBA::Boolean is_system) override {
    m_state->set([&](Outcome& outcome) {
      record_exception(outcome, ex);
      if (!is_system) outcome.exception += " not marked as a system exception";
    });
  }

 private:
  const std::shared_ptr<State> m_state;
};

class FakeRequest::LocateData : public virtual QZ_Binding::ServerLocateRequestData,
                                public QZ_CORBA::RefCountedLocalObject {
 public:
  explicit LocateData(std::shared_ptr<State> state) : m_state(std::move(state)) {}

  CORBA::OctetSeq* object_key() override { return m_state->key(); }
  void set_forward(QZ_IOR::IOR_ptr target, CORBA::Boolean permanent) override {
    m_state->set([&](Outcome& outcome) { record_forward(outcome, target, permanent); });
  }
  void set_unknown_object() override {
    m_state->set([](Outcome& outcome) { outcome.kind = Outcome::UNKNOWN_OBJECT; });
  }
  void set_exception(const CORBA::Any& ex) override {
    m_state->set([&](Outcome& outcome) { record_exception(outcome, ex); });
  }

 private:
  const std::shared_ptr<State> m_state;
};

class FakeRequest::Callback : public virtual QZ_Binding::ServerRequestCallback, public QZ_CORBA::RefCountedLocalObject {
 public:
  explicit Callback(std::shared_ptr<State> state) : m_state(std::move(state)) {}

  CORBA::Boolean abandoned() override { return m_state->m_abandoned; }
  void outcome_set() override { m_state->called("outcome_set"); }
  void finished() override { m_state->called("finished"); }

 private:
  const std::shared_ptr<State> m_state;
};

FakeRequest::FakeRequest(Kind kind, std::unique_ptr<CORBA::OctetSeq> key)
    : m_kind(kind),
      m_state(std::make_shared<State>(std::move(key))),
      m_data(new Data(m_state)),
      m_locate_data(new LocateData(m_state)),
      m_callback(new Callback(m_state)) {}

FakeRequest::FakeRequest(const std::string& key, Kind kind)
    : FakeRequest(kind, std::make_unique<CORBA::OctetSeq>(octet_seq(key))) {}

FakeRequest::FakeRequest(Kind kind) : FakeRequest(kind, nullptr) {}

FakeRequest::~FakeRequest() = default;

QZ_Binding::ServerRequestData_ptr FakeRequest::data() const {
  return m_data.get();
}
QZ_Binding::ServerLocateRequestData_ptr FakeRequest::locate_data() const {
  return m_locate_data.get();
}
QZ_Binding::ServerRequestCallback_ptr FakeRequest::callback() const {
  return m_callback.get();
}

void FakeRequest::abandon() {
  m_state->m_abandoned = true;
}

void FakeRequest::give_to(QZ_Binding::ServerRequestInterceptor_ptr interceptor) {
  if (m_kind == REQUEST) {
    interceptor->invoke(data(), callback());
  } else {
    interceptor->locate(locate_data(), callback());
  }
}

std::unique_ptr<RequestInfoBase> FakeRequest::info() const {
  if (m_kind == REQUEST) return std::make_unique<RequestInfo>(data(), callback());
  return std::make_unique<LocateRequestInfo>(locate_data(), callback());
}

bool FakeRequest::answered() const {
  const Outcome now = outcome();
  return !now.callbacks.empty() && now.callbacks.back() == "finished";
}

Outcome FakeRequest::wait() const {
  support::wait_until([this] { return answered(); });
  return outcome();
}

Outcome FakeRequest::outcome() const {
  return m_state->outcome();
}
