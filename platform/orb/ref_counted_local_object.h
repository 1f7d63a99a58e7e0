// Base of the reference-counted local objects of the daemon's process.
#pragma once

#include <omniORB4/CORBA.h>

#include <atomic>

namespace QZ_CORBA {

// The count starts at 1, owned by whoever called new, and is thread-safe. CORBA's _duplicate and release act
// on the same count.
class RefCountedLocalObject : public virtual CORBA::LocalObject {
 public:
  void _add_ref() override { _qz_add_ref(); }
  void _remove_ref() override { _qz_remove_ref(); }
  virtual void _qz_add_ref() { m_count.fetch_add(1, std::memory_order_relaxed); }
  virtual void _qz_remove_ref() {
    if (m_count.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
  }

  // The ORB that the object belongs to; the caller releases it. Nil unless a derived class knows one.
  virtual CORBA::ORB_ptr _qz_get_orb() { return CORBA::ORB::_nil(); }

 protected:
  // omniORB takes a local object for nil until it is told that there is one.
  RefCountedLocalObject() { _PR_setobj(reinterpret_cast<omniObjRef*>(1)); }
  ~RefCountedLocalObject() override = default;

 private:
  std::atomic<unsigned long> m_count{1};
};

// The ORB of a local object of this process; nil when it knows none.
inline CORBA::ORB_ptr orb_of(CORBA::Object_ptr object) {
  auto* local = dynamic_cast<RefCountedLocalObject*>(object);
  return local ? local->_qz_get_orb() : CORBA::ORB::_nil();
}

}  // namespace QZ_CORBA
