// One daemon a store, whatever ends it.
#pragma once

#include <string>
#include <vector>

#include "daemon/unique_fd.h"

namespace poalocd {

// Holds "STORE.lock" beside the store's file as long as it lives; the system frees it when the process is killed. The
// file names the owner, and before it owners that were killed: the last processes that they started may have no record.
class StoreLock {
 public:
  // StartError when another process holds the store, or when the file cannot be had.
  explicit StoreLock(const std::string& store_url);
  // The end of an owner whose processes all have a record.
  ~StoreLock();
  StoreLock(const StoreLock&) = delete;
  StoreLock& operator=(const StoreLock&) = delete;

  // This process, told apart from every other: "PID.START-TIME.BOOT".
  const std::string& owner() const { return m_owner; }
  const std::vector<std::string>& killed_owners() const { return m_killed; }
  // All processes of theirs have a record by now.
  void forget_killed_owners();

 private:
  void write(const std::vector<std::string>& owners) const;

  UniqueFd m_file;
  std::string m_owner;
  std::vector<std::string> m_killed;
};

}  // namespace poalocd
