// A configured server process through its runs.
#pragma once

#include <memory>
#include <qz_locator_internal.hh>
#include <string>

#include "daemon/attached_orbs.h"
#include "daemon/process_context.h"
#include "daemon/process_instance.h"
#include "platform/base/qz_mutex.h"
#include "platform/orb/ref_counted_local_object.h"

namespace poalocd {

// Safe from any thread. ORBs call in with locks of their own held, so no ORB is ever called with m_mutex held.
//
//   idle      no run; start() makes one
//   up        a run that the daemon watches, or one that registered by itself and has no known pid
//   leaving   a run whose last ORB has unregistered, so that its exit is expected; start() is remembered
//   stopping  a run that was told to end, and is killed when its grace period is over; start() is remembered
//   settling  a run's exit was seen and its ORBs are being told; start() is remembered
//
// ORBs that attach while a run is leaving, stopping or settling belong to the run after it.
class ActiveProcessImpl : public virtual QZ_LocatorInternal::ActiveProcess, public QZ_CORBA::RefCountedLocalObject {
 public:
  ActiveProcessImpl(ProcessContext& context, std::string name);

  char* name() override { return CORBA::string_dup(m_name.c_str()); }
  void start() override;
  // An ORB of the same name that is attached already is replaced.
  void add_orb(QZ_LocatorInternal::ActiveORB_ptr which) override;
  void remove_orb(const char* orb_name) override;
  QZ_LocatorAdmin::ActiveProcess_ptr external_reference() override;

  // SIGTERM to the run's process group, and SIGKILL when the grace period is over. A remembered start is forgotten.
  // QZ_LocatorAdmin::NotRunning when there is neither a watched run nor a remembered start.
  void stop();
  // Stops the run and remembers a start; starts where there is no run. StartFailed also for a run with no known pid.
  void restart();
  // What is configured by now. StartFailed when it is not configured any more.
  ProcessSettings settings() const;
  // The caller deletes it. Asks the ORBs.
  QZ_LocatorAdmin::ActiveProcessInfo* info();

  // One of its ORBs is registering: an idle process is up from now on, with no known pid.
  void mark_running();
  // Takes up a run of an earlier daemon. identity.pid 0: up, with no known pid. When the run is over by now, its end is
  // reported as soon as the loop runs. Once, before anything else.
  void restore(const ProcessIdentity& identity, bool leaving);
  // The same for a run that has no record; writes it.
  void take_up(const ProcessIdentity& identity);

  // Neither a run nor an ORB.
  bool idle() const;
  // Whether a run is watched, so that nobody needs to ask whether it lives.
  bool watched() const;
  // For processes that are not watched: one that has a registered ORB is up; one that has none limit times in a row has
  // no run any more, and its ORBs are told.
  void check_unwatched(unsigned limit);
  // Gives up every ORB without telling it.
  void detach_all();

 private:
  enum class State { IDLE, UP, LEAVING, STOPPING, SETTLING };
  using Instance = std::shared_ptr<ProcessInstance>;
  using Self = QZ_LocatorInternal::ActiveProcess_var;

  Self self() { return QZ_LocatorInternal::ActiveProcess::_duplicate(this); }
  void launch() REQUIRES(m_mutex);
  void watch(const Instance& instance) REQUIRES(m_mutex);
  void limit_startup(const Instance& instance, Milliseconds limit) REQUIRES(m_mutex);
  void limit_stop() REQUIRES(m_mutex);
  void end_run() REQUIRES(m_mutex);
  // The attached ORBs are of the run that is up now.
  void begin_present_run() REQUIRES(m_mutex);
  Milliseconds stop_grace() const;
  std::string first_orb_name() const;

  // On the loop's thread.
  void ended(const Instance& instance);
  void startup_limit_reached(const Instance& instance, Milliseconds limit);
  void stop_grace_over(unsigned long start_number, Milliseconds grace);
  // Those of them that have registered nothing.
  AttachedOrbs detach_unregistered(AttachedOrbs orbs);
  void kill_stopping(const Instance& instance, Milliseconds grace);
  void write_record();

  void report_end(const ProcessInstance& instance, const ProcessEnd& end) const;
  // The record in the store follows, on the loop's thread: start() must wait for no disk.
  void record();

  ProcessContext& m_context;
  const std::string m_name;

  mutable QZ_Mutex m_mutex;  // guards all below; only leaf locks (log, repository, loop) are taken with it held
  State m_state GUARDED_BY(m_mutex) = State::IDLE;
  std::string m_run GUARDED_BY(m_mutex);    // the last one that was launched
  Instance m_instance GUARDED_BY(m_mutex);  // null when idle, settling, or up with no known pid
  AttachedOrbs m_orbs GUARDED_BY(m_mutex);
  bool m_restored GUARDED_BY(m_mutex) = false;  // and plug-ins are still restoring theirs
  bool m_start_wanted GUARDED_BY(m_mutex) = false;
  bool m_start_taken_back GUARDED_BY(m_mutex) = false;    // since the run's exit was seen
  unsigned long m_starts_wanted GUARDED_BY(m_mutex) = 0;  // tells remembered starts apart
  unsigned m_missed GUARDED_BY(m_mutex) = 0;              // checks in a row without a registered ORB
};

}  // namespace poalocd
