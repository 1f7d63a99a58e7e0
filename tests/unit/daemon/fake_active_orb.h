// An active ORB as a plug-in has it, of which a test says what it answers.
#pragma once

#include <atomic>
#include <functional>
#include <mutex>
#include <qz_locator_internal.hh>
#include <string>
#include <utility>

#include "platform/base/ref_count_handle.h"
#include "platform/orb/ref_counted_local_object.h"

class FakeActiveOrb : public virtual QZ_LocatorInternal::ActiveORB, public QZ_CORBA::RefCountedLocalObject {
 public:
  // process: nil when none runs it.
  explicit FakeActiveOrb(std::string name, QZ_LocatorInternal::ActiveProcess_ptr process = nullptr)
      : m_name(std::move(name)), m_process(QZ_LocatorInternal::ActiveProcess::_duplicate(process)) {}

  char* name() override { return CORBA::string_dup(m_name.c_str()); }
  QZ_LocationCommon::ORBInfo* orb_info() override {
    auto* info = new QZ_LocationCommon::ORBInfo;
    info->name = m_name.c_str();
    return info;
  }
  QZ_LocatorInternal::ActiveProcess_ptr process() override {
    return QZ_LocatorInternal::ActiveProcess::_duplicate(m_process);
  }
  void process_died() override {
    on_death();
    ++deaths;
  }
  QZ_LocatorAdmin::ActiveORB_ptr external_reference() override { return QZ_LocatorAdmin::ActiveORB::_nil(); }
  CORBA::Boolean validate() override { return is_registered; }
  CORBA::Boolean probe() override {
    const bool is_alive = alive;  // before anyone can know of this probe
    ++probes;
    on_probe();
    if (probe_raises) throw CORBA::TRANSIENT(0, CORBA::COMPLETED_NO);
    return is_alive;
  }
  CORBA::Boolean registered() override { return is_registered; }
  void destroy() override {}

  std::atomic<int> deaths{0};
  std::atomic<int> probes{0};
  std::atomic<bool> is_registered{false};
  std::atomic<bool> alive{true};
  std::atomic<bool> probe_raises{false};

  // Set by the test, called on a thread of the host.
  class Hook {
   public:
    Hook& operator=(std::function<void()> work) {
      const std::lock_guard lock(m_mutex);
      m_work = std::move(work);
      return *this;
    }
    void operator()() const {
      std::function<void()> work;
      {
        const std::lock_guard lock(m_mutex);
        work = m_work;
      }
      if (work) work();
    }

   private:
    mutable std::mutex m_mutex;  // guards the work
    std::function<void()> m_work;
  };
  Hook on_death;
  Hook on_probe;

 private:
  const std::string m_name;
  const QZ_LocatorInternal::ActiveProcess_var m_process;
};

using FakeOrb = RefCountHandle<FakeActiveOrb>;

inline FakeOrb make_orb(const std::string& name, QZ_LocatorInternal::ActiveProcess_ptr process = nullptr) {
  return FakeOrb(new FakeActiveOrb(name, process));
}
