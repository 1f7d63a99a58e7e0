// What administrators do with a process and see of it.
#include <signal.h>

#include "daemon/active_process_impl.h"
#include "daemon/host_event.h"
#include "daemon/seconds_text.h"

namespace poalocd {

void ActiveProcessImpl::stop() {
  const QZ_MutexLock lock(m_mutex);
  const bool start_wanted = std::exchange(m_start_wanted, false);
  if (!m_instance) {
    if (!start_wanted) throw QZ_LocatorAdmin::NotRunning();
    m_start_taken_back = true;
    return;
  }
  // Those that wait for the next run have nothing to wait for now; who attaches from now on asks for its start anew.
  for (auto& attached : m_orbs) attached.given_up = true;
  end_run();
}

void ActiveProcessImpl::restart() {
  const QZ_MutexLock lock(m_mutex);
  switch (m_state) {
    case State::IDLE:
      return launch();
    case State::SETTLING:
      break;
    case State::UP:
    case State::LEAVING:
    case State::STOPPING:
      if (!m_instance)
        throw QZ_LocatorInternal::StartFailed(
            ("process \"" + m_name + "\" runs already, and was not started by poalocd, which cannot end it").c_str());
      settings();  // what cannot be started must not be ended
      end_run();
  }
  m_start_wanted = true;
}

void ActiveProcessImpl::end_run() {
  m_instance->signal_group(SIGTERM);
  if (m_state == State::STOPPING) return;  // its grace period has begun
  m_state = State::STOPPING;
  record();
  report(m_context.log, PROCESS_STOPPING_EVENT, {m_name, std::to_string(m_instance->pid())});
  const auto grace = stop_grace();
  m_context.loop.after(grace, [this, keep = self(), instance = m_instance, grace] { kill_stopping(instance, grace); });
}

void ActiveProcessImpl::kill_stopping(const Instance& instance, Milliseconds grace) {
  const QZ_MutexLock lock(m_mutex);
  if (m_instance != instance) return;
  report(m_context.log, PROCESS_STOP_KILLED_EVENT, {m_name, std::to_string(instance->pid()), seconds_text(grace)});
  instance->signal_group(SIGKILL);
}

QZ_LocatorAdmin::ActiveProcessInfo* ActiveProcessImpl::info() {
  QZ_LocatorAdmin::ActiveProcessInfo_var result = new QZ_LocatorAdmin::ActiveProcessInfo;
  AttachedOrbs orbs;
  State state;
  result->name = m_name.c_str();
  result->pid = 0;
  result->start_time = 0;
  {
    const QZ_MutexLock lock(m_mutex);
    state = m_state;
    orbs = m_orbs;
    if (m_instance) {
      result->pid = static_cast<CORBA::ULong>(m_instance->pid());
      result->start_time = static_cast<QZ_LocatorAdmin::Time>(m_instance->started().count());
    }
  }
  result->orbs.length(static_cast<CORBA::ULong>(orbs.size()));
  for (CORBA::ULong i = 0; i < result->orbs.length(); ++i) result->orbs[i] = orbs[i].name.c_str();
  if (state == State::UP || state == State::IDLE)
    // An idle one may run all the same: servers that were not started by the daemon are noticed now and then.
    result->state = any_registered(orbs) ? QZ_LocatorAdmin::PROCESS_RUNNING
                    : state == State::UP ? QZ_LocatorAdmin::PROCESS_STARTING
                                         : QZ_LocatorAdmin::PROCESS_STOPPED;
  else
    result->state = QZ_LocatorAdmin::PROCESS_LEAVING;
  return result._retn();
}

}  // namespace poalocd
