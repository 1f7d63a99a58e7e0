// One daemon a store, whatever ends it.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "daemon/unique_fd.h"
#include "platform/base/qz_mutex.h"

namespace poalocd {

// Holds "STORE.lock" beside the store's file as long as it lives; the system frees it when the process is killed. The
// file names the owner and, in the lines after it, the runs of server processes that have no record in the store yet:
// of this owner, and of owners that were killed. Safe from any thread.
class StoreLock {
 public:
  // StartError when another process holds the store, or when the file cannot be had.
  explicit StoreLock(const std::string& store_url);
  // The next owner finds the runs that have no record even now.
  ~StoreLock();
  StoreLock(const StoreLock&) = delete;
  StoreLock& operator=(const StoreLock&) = delete;

  // "PID.START-TIME.BOOT"
  const std::string& owner() const { return m_owner; }

  // A run that is about to start: "OWNER/NUMBER", with the owner told apart from every other process.
  std::string begin_run();
  // It has a record, or is over.
  void settle_run(const std::string& run);

  std::vector<std::string> runs_of_killed();
  // All of them have a record by now.
  void forget_runs_of_killed();

 private:
  // The owner's line, and those of the runs.
  void write(const std::string& owner) const REQUIRES(m_mutex);

  UniqueFd m_file;
  const std::string m_owner;
  QZ_Mutex m_mutex;  // guards the runs and the content of the file
  std::vector<std::string> m_runs_of_killed GUARDED_BY(m_mutex);
  unsigned long m_number_of_runs GUARDED_BY(m_mutex) = 0;
  std::set<std::string> m_runs GUARDED_BY(m_mutex);
};

}  // namespace poalocd
