// The one query there is: all records of a home.
#pragma once

#include <omniORB4/CORBA.h>

#include <memory>
#include <string>

#include "platform/pss/result_set.h"

namespace QZ_PSS {

class Session;

// Used by the session's thread, while its association lasts.
class Statement {
 public:
  explicit Statement(Session& session) : m_session(session) {}

  // text: "select ref(h) from <home type id> h", single spaces. Any other text: BAD_PARAM with MINOR_BAD_QUERY.
  // CosPersistentState::NotFound when no such home is registered. Reads nothing yet.
  std::unique_ptr<ResultSet> execute(const std::string& text);
  // The same, beginning behind the record of which a row has given that pid, whether it is still there or not. Empty:
  // from the beginning. BAD_PARAM with MINOR_BAD_REFERENCE when no row can have given it.
  std::unique_ptr<ResultSet> execute(const std::string& text, const std::string& after_pid);

 private:
  Session& m_session;
};

}  // namespace QZ_PSS
