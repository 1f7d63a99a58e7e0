// The imports that are under way, or have ended and are still asked about.
#pragma once

#include <map>
#include <memory>
#include <string>

#include "daemon/admin/import.h"
#include "daemon/event_loop.h"

namespace poalocd {

// Safe from any thread. Forgets what nobody uses, for which the loop must not run any more when this goes.
class Imports {
 public:
  static constexpr std::size_t MAX_IMPORTS = 8;

  // lifetime: of an import that is not used.
  Imports(ImrImpl& imr, QZ_Logging::EventLog_ptr log, EventLoop& loop,
          Milliseconds lifetime = std::chrono::minutes(10));
  ~Imports() { stop(); }
  Imports(const Imports&) = delete;
  Imports& operator=(const Imports&) = delete;

  // Its id. IMP_LIMIT when there are MAX_IMPORTS, or after stop().
  std::string start();
  // Counts as a use. OBJECT_NOT_EXIST when there is none.
  std::shared_ptr<Import> find(const std::string& id);
  // Cancels it, and forgets it. OBJECT_NOT_EXIST when there is none.
  void destroy(const std::string& id);
  // Cancels all of them.
  void stop();

 private:
  void forget_unused(const std::string& id);

  ImrImpl& m_imr;
  const QZ_Logging::EventLog_var m_log;
  EventLoop& m_loop;
  const Milliseconds m_lifetime;
  QZ_Mutex m_mutex;  // guards all below
  std::map<std::string, std::shared_ptr<Import>> m_imports GUARDED_BY(m_mutex);
  bool m_stopped GUARDED_BY(m_mutex) = false;
};

}  // namespace poalocd
