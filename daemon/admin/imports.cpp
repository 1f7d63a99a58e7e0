#include "daemon/admin/imports.h"

#include <random>
#include <sstream>
#include <utility>

namespace poalocd {

namespace {

// Never one of an earlier daemon, whose references may still be about.
std::string new_id() {
  std::random_device random;
  std::ostringstream id;
  for (int i = 0; i < 4; ++i) id << std::hex << random() << '.';
  return id.str();
}

}  // namespace

Imports::Imports(ImrImpl& imr, QZ_Logging::EventLog_ptr log, EventLoop& loop, Milliseconds lifetime)
    : m_imr(imr), m_log(QZ_Logging::EventLog::_duplicate(log)), m_loop(loop), m_lifetime(lifetime) {}

std::string Imports::start() {
  const auto id = new_id();
  {
    const QZ_MutexLock lock(m_mutex);
    if (m_stopped || m_imports.size() == MAX_IMPORTS) throw CORBA::IMP_LIMIT(0, CORBA::COMPLETED_NO);
    m_imports.emplace(id, std::make_shared<Import>(m_imr, m_log));
  }
  m_loop.after(m_lifetime, [this, id] { forget_unused(id); });
  return id;
}

std::shared_ptr<Import> Imports::find(const std::string& id) {
  const QZ_MutexLock lock(m_mutex);
  const auto found = m_imports.find(id);
  if (found == m_imports.end()) throw CORBA::OBJECT_NOT_EXIST(0, CORBA::COMPLETED_NO);
  found->second->touch();
  return found->second;
}

void Imports::destroy(const std::string& id) {
  const auto import = find(id);
  {
    const QZ_MutexLock lock(m_mutex);
    m_imports.erase(id);
  }
  import->cancel();
}

void Imports::forget_unused(const std::string& id) {
  std::shared_ptr<Import> unused;  // given up without the lock
  const QZ_MutexLock lock(m_mutex);
  const auto found = m_imports.find(id);
  if (found == m_imports.end()) return;
  const auto age = std::chrono::ceil<Milliseconds>(found->second->unused());
  if (age < m_lifetime) {
    m_loop.after(m_lifetime - age, [this, id] { forget_unused(id); });
    return;
  }
  unused = std::move(found->second);
  m_imports.erase(found);
}

void Imports::stop() {
  std::map<std::string, std::shared_ptr<Import>> imports;
  {
    const QZ_MutexLock lock(m_mutex);
    m_stopped = true;
    imports.swap(m_imports);
  }
  for (const auto& [id, import] : imports) import->cancel();
}

}  // namespace poalocd
