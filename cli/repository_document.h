// The whole repository as a JSON document, one entry a line:
//
//   {"poalocator": 1,
//   "processes": [
//   {"name": "bank", "command": ["bank_server", "--verbose"], "directory": null, "environment": ["TZ=UTC"],
//    "user": null, "startup_limit": "30s", "stop_grace": "10s", "log": "/var/log/bank.log"}
//   ],
//   "orbs": [
//   {"name": "bank", "process": "bank"}
//   ],
//   "poas": [
//   {"name": "/", "persistent": false, "dynamic": true, "orb": null},
//   {"name": "Bank/Accounts", "persistent": true, "dynamic": false, "orb": "bank"}
//   ]}
//
// Members that are null or false may be left out, and so may lists.
#pragma once

#include <qz_imr_admin.hh>

#include <string>
#include <vector>

#include "cli/json.h"

namespace poaloc {

struct RepositoryDocument {
  std::vector<QZ_IMRAdmin::ProcessInfo> processes;
  std::vector<QZ_LocationCommon::ORBInfo> orbs;
  std::vector<QZ_IMRAdmin::POAEntry> poas;  // those above before those below

  std::size_t size() const { return processes.size() + orbs.size() + poas.size(); }
};

// Entries as they stand in the document.
Json to_json(const QZ_IMRAdmin::ProcessInfo& info);
Json to_json(const QZ_LocationCommon::ORBInfo& info);
Json to_json(const QZ_IMRAdmin::POAEntry& entry);

// Checks all that can be known without the locator. Each mistake is added to mistakes as a sentence without its full
// stop; what is returned is of use only when there is none.
RepositoryDocument parse_document(const std::string& text, std::vector<std::string>& mistakes);

}  // namespace poaloc
