// Small interceptors.
#pragma once

#include <qz_binding.hh>

#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "platform/binding/binding_manager_impl.h"
#include "platform/orb/ior_impl.h"
#include "platform/orb/ref_counted_local_object.h"
#include "tests/unit/platform/binding/giop_messages.h"

namespace test {

// A request of either kind, to be answered once.
struct Pending {
  QZ_Binding::ServerRequestData_ptr data = nullptr;
  QZ_Binding::ServerLocateRequestData_ptr locate_data = nullptr;
  QZ_Binding::ServerRequestCallback_ptr callback = nullptr;
  std::string key;
  bool has_key = false;

  void forward(QZ_IOR::IOR_ptr target, bool permanent = false) const {
    if (data) {
      data->set_forward(target, permanent);
    } else {
      locate_data->set_forward(target, permanent);
    }
    complete();
  }
  void refuse(const CORBA::Exception& exception) const {
    CORBA::Any any;
    any <<= exception;
    if (data) {
      data->set_exception(any, true);
    } else {
      locate_data->set_exception(any);
    }
    complete();
  }
  void complete() const {
    callback->outcome_set();
    callback->finished();
  }
};

// Calls a function with every request.
class FunctionInterceptor : public virtual QZ_Binding::ServerRequestInterceptor,
                            public QZ_CORBA::RefCountedLocalObject {
 public:
  using Function = std::function<void(const Pending&)>;

  explicit FunctionInterceptor(Function function) : m_function(std::move(function)) { ++alive; }

  char* name() override { return CORBA::string_dup("test"); }
  QZ_Binding::ServerRequestInterceptor_ptr next_interceptor() override {
    return QZ_Binding::ServerRequestInterceptor::_nil();
  }
  void invoke(QZ_Binding::ServerRequestData_ptr data, QZ_Binding::ServerRequestCallback_ptr callback) override {
    const CORBA::OctetSeq_var key = data->object_key();
    m_function({data, nullptr, callback, text(key), key.operator->() != nullptr});
  }
  void locate(QZ_Binding::ServerLocateRequestData_ptr data, QZ_Binding::ServerRequestCallback_ptr callback) override {
    const CORBA::OctetSeq_var key = data->object_key();
    m_function({nullptr, data, callback, text(key), key.operator->() != nullptr});
  }

  static inline std::atomic<int> alive{0};

 protected:
  ~FunctionInterceptor() override { --alive; }

 private:
  static std::string text(const CORBA::OctetSeq_var& key) {
    const CORBA::OctetSeq* octets = key.operator->();
    return octets ? std::string(octets->get_buffer(), octets->get_buffer() + octets->length()) : std::string();
  }

  const Function m_function;
};

// Keeps requests until the test answers them.
class Parking {
 public:
  void add(const Pending& pending) {
    std::lock_guard lock(m_mutex);
    m_pending.push_back(pending);
    m_changed.notify_all();
  }
  // Waits until there are so many, and takes them all. Fewer when they do not come in time.
  std::vector<Pending> take(std::size_t count, std::chrono::milliseconds limit = std::chrono::seconds(20)) {
    std::unique_lock lock(m_mutex);
    m_changed.wait_for(lock, limit, [&] { return m_pending.size() >= count; });
    return std::exchange(m_pending, {});
  }
  std::size_t size() {
    std::lock_guard lock(m_mutex);
    return m_pending.size();
  }

 private:
  std::mutex m_mutex;  // guards m_pending
  std::condition_variable m_changed;
  std::vector<Pending> m_pending;
};

inline CORBA::OctetSeq octet_seq(const std::string& text) {
  CORBA::OctetSeq result;
  result.length(static_cast<CORBA::ULong>(text.size()));
  for (CORBA::ULong i = 0; i < result.length(); ++i) result[i] = static_cast<CORBA::Octet>(text[i]);
  return result;
}

// A reference to an object elsewhere.
inline QZ_IOR::IOR_ptr ior_of(const std::string& key) {
  const Octets prefix = octets(key);
  auto* endpoint = QZ_IOR::IOREndpointImpl::of_addresses({{"server.example", 4711}}, prefix);
  auto* ior = new QZ_IOR::IORImpl(*endpoint, "IDL:Test:1.0", {});
  endpoint->_qz_remove_ref();
  return ior;
}

inline QZ_Binding::ServerBinding_var bound(QZ_Binding::BindingManager& manager, const std::string& prefix,
                                           QZ_Binding::Dispatch where, FunctionInterceptor::Function function,
                                           QZ_IOR::IOREndpoint_ptr forward = QZ_IOR::IOREndpoint::_nil()) {
  QZ_Binding::ServerRequestInterceptor_var interceptor = new FunctionInterceptor(std::move(function));
  return manager.register_interceptor(octet_seq(prefix), interceptor, where, forward);
}

}  // namespace test
