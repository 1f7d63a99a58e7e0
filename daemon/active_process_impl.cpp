#include "daemon/active_process_impl.h"

#include <sys/wait.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <utility>

#include "daemon/exception_text.h"
#include "daemon/host_event.h"
#include "daemon/locator_store.h"
#include "daemon/process_registry_impl.h"
#include "daemon/run_search.h"
#include "daemon/seconds_text.h"
#include "daemon/spawn.h"
#include "daemon/store_query.h"
#include "platform/pss/transaction_guard.h"

namespace poalocd {

ActiveProcessImpl::ActiveProcessImpl(ProcessContext& context, std::string name)
    : m_context(context), m_name(std::move(name)) {}

ProcessSettings ActiveProcessImpl::settings() const {
  const QZ_IMRInternal::Process_var process = m_context.processes->find(m_name.c_str());
  const auto* known = dynamic_cast<ImrProcess*>(process.in());
  if (!known) throw QZ_LocatorInternal::StartFailed(("process \"" + m_name + "\" is not configured").c_str());
  return known->settings();
}

QZ_LocatorAdmin::ActiveProcess_ptr ActiveProcessImpl::external_reference() {
  return m_context.reference ? m_context.reference(m_name) : QZ_LocatorAdmin::ActiveProcess::_nil();
}

void ActiveProcessImpl::start() {
  const QZ_MutexLock lock(m_mutex);
  switch (m_state) {
    case State::UP:
      return;
    case State::STOPPING:
    case State::SETTLING:
      m_start_wanted = true;
      return;
    case State::LEAVING:
      if (!std::exchange(m_start_wanted, true)) limit_stop();
      return;
    case State::IDLE:
      launch();
  }
}

void ActiveProcessImpl::launch() {
  try {
    const auto settings = this->settings();
    std::map<std::string, std::string> environment;
    environment.emplace("POALOCATOR_DOMAIN", m_context.domain);
    // The last one is over, whether its end could be recorded or not.
    m_context.store_lock.settle_run(m_run);
    m_run = m_context.store_lock.begin_run();
    environment.emplace(RUN_VARIABLE, run_mark(m_run, m_name));
    if (!m_context.url.empty()) environment.emplace("POALOCATOR_URL", m_context.url);
    if (const auto orb = first_orb_name(); !orb.empty()) environment.emplace("POALOCATOR_ORB_NAME", orb);
    const pid_t pid = spawn(settings, environment);
    try {
      m_instance = ProcessInstance::of_child(pid);
      watch(m_instance);
    } catch (const std::exception& e) {
      // A run that cannot be watched would never be seen to end.
      ::kill(-pid, SIGKILL);
      ::waitpid(pid, nullptr, 0);
      m_instance.reset();
      throw QZ_LocatorInternal::StartFailed(
          ("\"" + settings.argv.front() + "\" cannot be watched: " + e.what()).c_str());
    }
    m_state = State::UP;
    begin_present_run();
    limit_startup(m_instance, settings.startup_time_limit);
    record();
    report(m_context.log, PROCESS_STARTED_EVENT, {m_name, std::to_string(pid), settings.argv.front()});
  } catch (const QZ_LocatorInternal::StartFailed& e) {
    m_context.store_lock.settle_run(m_run);
    report(m_context.log, PROCESS_START_FAILED_EVENT, {m_name, e.reason.in()});
    throw;
  }
}

void ActiveProcessImpl::begin_present_run() {
  m_start_wanted = false;
  for (auto& attached : m_orbs) attached.next_run = attached.given_up = false;
}

std::string ActiveProcessImpl::first_orb_name() const {
  QZ_IMRInternal::ORBList_var orbs = m_context.orbs->list_by_process(m_name.c_str());
  if (orbs->length() == 0) return {};
  const CORBA::String_var name = orbs[0]->name();
  return name.in();
}

void ActiveProcessImpl::watch(const Instance& instance) {
  m_context.loop.when_readable(instance->pidfd(), [this, keep = self(), instance] { ended(instance); });
}

void ActiveProcessImpl::limit_startup(const Instance& instance, Milliseconds limit) {
  if (limit.count() == 0) return;
  m_context.loop.after(limit, [this, keep = self(), instance, limit] { startup_limit_reached(instance, limit); });
}

Milliseconds ActiveProcessImpl::stop_grace() const {
  try {
    return settings().stop_grace;
  } catch (const QZ_LocatorInternal::StartFailed&) {
    return ProcessSettings().stop_grace;  // no longer configured
  }
}

void ActiveProcessImpl::limit_stop() {
  const Milliseconds grace = stop_grace();
  m_context.loop.after(grace,
                       [this, keep = self(), number = ++m_starts_wanted, grace] { stop_grace_over(number, grace); });
}

void ActiveProcessImpl::add_orb(QZ_LocatorInternal::ActiveORB_ptr which) {
  const CORBA::String_var name = which->name();
  AttachedOrb replaced;  // given up without the lock
  const QZ_MutexLock lock(m_mutex);
  const bool next_run = m_state != State::IDLE && m_state != State::UP;
  for (auto& attached : m_orbs) {
    if (attached.name != name.in()) continue;
    replaced = std::exchange(attached, {name.in(), QZ_LocatorInternal::ActiveORB::_duplicate(which), next_run});
    return;
  }
  m_orbs.push_back({name.in(), QZ_LocatorInternal::ActiveORB::_duplicate(which), next_run});
}

void ActiveProcessImpl::remove_orb(const char* orb_name) {
  AttachedOrb removed;  // given up without the lock
  const QZ_MutexLock lock(m_mutex);
  const auto found = std::find_if(m_orbs.begin(), m_orbs.end(), [&](const auto& a) { return a.name == orb_name; });
  if (found == m_orbs.end()) return;
  removed = *found;
  m_orbs.erase(found);
  if (!m_orbs.empty() || m_state != State::UP) return;
  // What a plug-in drops of what it restored says nothing of the run, which may still be starting.
  if (m_instance && m_restored) return;
  if (m_instance) {
    m_state = State::LEAVING;
    report(m_context.log, PROCESS_LEAVING_EVENT, {m_name, std::to_string(m_instance->pid())});
  } else {
    m_state = State::IDLE;
  }
  record();
}

void ActiveProcessImpl::mark_running() {
  const QZ_MutexLock lock(m_mutex);
  if (m_state != State::IDLE) return;
  m_state = State::UP;
  m_missed = 0;
  record();
}

void ActiveProcessImpl::restore(const ProcessIdentity& identity, bool leaving) {
  const QZ_MutexLock lock(m_mutex);
  m_state = leaving ? State::LEAVING : State::UP;
  if (identity.pid == 0) return;
  m_restored = true;
  m_context.loop.post([this, keep = self()] {
    const QZ_MutexLock begun(m_mutex);
    m_restored = false;
  });
  m_instance = ProcessInstance::of_identity(identity);
  if (!m_instance->running()) {
    m_context.loop.post([this, keep = self(), instance = m_instance] { ended(instance); });
    return;
  }
  watch(m_instance);
  report(m_context.log, PROCESS_WATCHED_AGAIN_EVENT, {m_name, std::to_string(identity.pid)});
  try {
    if (!leaving) limit_startup(m_instance, settings().startup_time_limit);
  } catch (const QZ_LocatorInternal::StartFailed&) {
    // No longer configured: it has no limit any more.
  }
}

void ActiveProcessImpl::take_up(const ProcessIdentity& identity) {
  restore(identity, false);
  write_record();
}

bool ActiveProcessImpl::idle() const {
  const QZ_MutexLock lock(m_mutex);
  return m_state == State::IDLE && m_orbs.empty();
}

bool ActiveProcessImpl::watched() const {
  const QZ_MutexLock lock(m_mutex);
  return m_instance != nullptr;
}

void ActiveProcessImpl::ended(const Instance& instance) {
  AttachedOrbs dead;
  bool start_wanted = false;
  bool was_up = false;
  {
    const QZ_MutexLock lock(m_mutex);
    if (m_instance != instance) return;  // told late, of a run before this one
    report_end(*instance, instance->collect());
    m_instance.reset();
    was_up = m_state == State::UP;
    m_state = State::SETTLING;
    dead.swap(m_orbs);
    start_wanted = m_start_wanted;
    m_start_taken_back = false;
  }
  // With a start remembered, ORBs that have registered nothing wait for the next run. Without one, those do that have
  // just been attached for it: their start is about to be asked.
  AttachedOrbs waiting = take(dead, false);
  if (!start_wanted) {
    AttachedOrbs next = was_up ? AttachedOrbs() : take_next_run(waiting);
    AttachedOrbs given_up = take_given_up(next);
    append(dead, std::move(waiting));
    append(dead, std::move(given_up));
    waiting = std::move(next);
  }
  // What registered while this run was leaving may be of a run that somebody started by hand.
  AttachedOrbs registered = take_next_run(dead);
  const AttachedOrbs successors = take_answering(registered);
  append(dead, std::move(registered));
  tell_died(dead, m_context.log);

  AttachedOrbs failed;
  {
    const QZ_MutexLock lock(m_mutex);
    m_state = successors.empty() ? State::IDLE : State::UP;
    record();
    append(m_orbs, std::move(waiting));
    if (!successors.empty()) {
      failed = m_orbs;
      append(m_orbs, successors);
      begin_present_run();
    } else if (std::exchange(m_start_wanted, false)) {
      try {
        launch();
      } catch (...) {
        failed.swap(m_orbs);
      }
    } else if (m_start_taken_back) {
      failed.swap(m_orbs);  // they waited for that start
    }
  }
  // There is no start now for what the server in this one's place has not registered.
  if (!successors.empty()) failed = detach_unregistered(std::move(failed));
  tell_died(failed, m_context.log);
}

void ActiveProcessImpl::startup_limit_reached(const Instance& instance, Milliseconds limit) {
  AttachedOrbs orbs;
  {
    const QZ_MutexLock lock(m_mutex);
    if (m_instance != instance || m_state != State::UP) return;
    orbs = m_orbs;
  }
  if (any_registered(orbs)) return;
  const QZ_MutexLock lock(m_mutex);
  if (m_instance != instance) return;
  report(m_context.log, PROCESS_STARTUP_LIMIT_EVENT, {m_name, std::to_string(instance->pid()), seconds_text(limit)});
  instance->signal_group(SIGKILL);
}

void ActiveProcessImpl::stop_grace_over(unsigned long start_number, Milliseconds grace) {
  AttachedOrbs orbs;
  {
    const QZ_MutexLock lock(m_mutex);
    if (m_state != State::LEAVING || !m_start_wanted || start_number != m_starts_wanted) return;
    m_start_wanted = false;
    orbs = m_orbs;
    report(m_context.log, PROCESS_STOP_GRACE_EVENT, {m_name, std::to_string(m_instance->pid()), seconds_text(grace)});
  }
  // ORBs that have registered show that the process came back instead of leaving; the start fails for the others.
  const AttachedOrbs failed = detach_unregistered(orbs);
  {
    const QZ_MutexLock lock(m_mutex);
    // A start that was asked meanwhile has a time limit of its own.
    if (failed.size() < orbs.size() && m_state == State::LEAVING && !m_start_wanted) {
      m_state = State::UP;
      record();
    }
  }
  tell_died(failed, m_context.log);
}

void ActiveProcessImpl::check_unwatched(unsigned limit) {
  AttachedOrbs orbs;
  {
    const QZ_MutexLock lock(m_mutex);
    if (m_instance || m_state == State::SETTLING || (m_state == State::IDLE && m_orbs.empty())) return;
    orbs = m_orbs;
  }
  const bool registered = any_registered(orbs);
  AttachedOrbs dead;
  {
    const QZ_MutexLock lock(m_mutex);
    if (m_instance) return;
    if (registered && m_state == State::IDLE) {
      m_state = State::UP;
      record();
    }
    m_missed = registered ? 0 : m_missed + 1;
    if (m_state != State::UP || m_missed < limit) return;
    m_missed = 0;
    m_state = State::IDLE;
    dead.swap(m_orbs);
    record();
  }
  tell_died(dead, m_context.log);
}

void ActiveProcessImpl::detach_all() {
  AttachedOrbs orbs;
  const QZ_MutexLock lock(m_mutex);
  orbs.swap(m_orbs);
}

void ActiveProcessImpl::report_end(const ProcessInstance& instance, const ProcessEnd& end) const {
  const std::string pid = std::to_string(instance.pid());
  switch (end.kind) {
    case ProcessEnd::Kind::EXITED:
      report(m_context.log, PROCESS_EXITED_EVENT, {m_name, pid, std::to_string(end.value)});
      break;
    case ProcessEnd::Kind::SIGNALLED: {
      const char* abbreviation = ::sigabbrev_np(end.value);
      report(m_context.log, PROCESS_KILLED_EVENT,
             {m_name, pid, abbreviation ? std::string("SIG") + abbreviation : std::to_string(end.value)});
      break;
    }
    case ProcessEnd::Kind::UNKNOWN:
      report(m_context.log, PROCESS_GONE_EVENT, {m_name, pid});
  }
}

AttachedOrbs ActiveProcessImpl::detach_unregistered(AttachedOrbs orbs) {
  AttachedOrbs result = take(orbs, false);
  const QZ_MutexLock lock(m_mutex);
  std::erase_if(m_orbs, [&](const auto& attached) {
    return std::any_of(result.begin(), result.end(),
                       [&](const auto& other) { return other.orb.in() == attached.orb.in(); });
  });
  return result;
}

void ActiveProcessImpl::record() {
  m_context.loop.post([this, keep = self()] { write_record(); });
}

void ActiveProcessImpl::write_record() {
  bool up = false;
  bool leaving = false;
  ProcessIdentity identity;
  std::string run;
  {
    const QZ_MutexLock lock(m_mutex);
    run = m_run;
    leaving = m_state == State::LEAVING || m_state == State::STOPPING;
    up = leaving || m_state == State::UP;
    if (m_instance) identity = m_instance->identity();
  }
  try {
    QZ_PSS::in_transaction(m_context.store.current, m_context.store.session_manager,
                           [&](QZ_PSS::TxSessionAssociation& association) {
                             auto& home = find_home<QZ_LocatorStore::ActiveProcessHome>(association);
                             destroy_if_found([&] { return home.find_by_name(m_name); });
                             if (up)
                               home.create(m_name, static_cast<CORBA::ULong>(identity.pid), identity.start_time,
                                           identity.boot_id, leaving);
                           });
    m_context.store_lock.settle_run(run);
  } catch (...) {
    report(m_context.log, PROCESS_RECORD_FAILED_EVENT, {m_name, current_exception_text()});
  }
}

}  // namespace poalocd
