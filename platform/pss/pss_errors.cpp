#include "platform/pss/pss_errors.h"

#include <soci/sqlite3/soci-sqlite3.h>

#include "platform/pss/raise.h"

namespace QZ_PSS {

namespace {

// Has no destructor, so that a transaction rolled back at its thread's end may still report here.
thread_local char t_last_error[256];

int result_code(const soci::soci_error& error) {
  const auto* sqlite = dynamic_cast<const soci::sqlite3_soci_error*>(&error);
  return sqlite ? sqlite->result() & 0xff : SQLITE_ERROR;
}

}  // namespace

bool is_already_exists(const CORBA::SystemException& ex) {
  return ex.minor() == MINOR_ALREADY_EXISTS && dynamic_cast<const CORBA::PERSIST_STORE*>(&ex) != nullptr;
}

const char* minor_text(CORBA::ULong minor) {
  switch (minor) {
    case MINOR_STORE_FAILED:
      return "the store failed";
    case MINOR_ALREADY_EXISTS:
      return "there is a record with that key";
    case MINOR_CORRUPT:
      return "the store is damaged";
    case MINOR_FULL:
      return "no space left for the store";
    case MINOR_BAD_RECORD:
      return "a stored value cannot be read";
    case MINOR_LOCKED:
      return "the store stayed locked for the busy time-out";
    case MINOR_BAD_QUERY:
      return "the query is not \"select ref(h) from <home type id> h\"";
    case MINOR_BAD_REFERENCE:
      return "not a reference to a record of that type";
    case MINOR_BAD_DECLARATION:
      return "the storage type or home cannot be registered";
    case MINOR_BAD_COLUMN:
      return "a result set has the one column 1";
    case MINOR_BAD_MODE:
      return "the mode of an association is 0 or 1";
    case MINOR_BAD_MANAGER:
      return "the session manager is nil or of another make";
    case MINOR_NO_TRANSACTION:
      return "the thread has no transaction";
    case MINOR_READ_ONLY:
      return "the association is read-only";
    case MINOR_SESSION_ENDED:
      return "the association or its transaction has ended";
    case MINOR_NO_ROW:
      return "there is no current row";
    case MINOR_NO_ORB:
      return "the store was opened without an ORB";
    case MINOR_IN_TRANSACTION:
      return "the thread has a store transaction";
    case MINOR_ROLLED_BACK:
      return "a failure of the store has doomed the transaction";
    case MINOR_RECORD_GONE:
      return "the record does not exist";
    case MINOR_OTHER_STORE:
      return "the transaction works on another store";
    default:
      return "";
  }
}

std::string last_error() {
  return t_last_error;
}

void set_last_error(const std::string& text) {
  t_last_error[text.copy(t_last_error, sizeof t_last_error - 1)] = '\0';
}

bool is_locked(const soci::soci_error& error) {
  const int code = result_code(error);
  return code == SQLITE_BUSY || code == SQLITE_LOCKED;
}

void raise(const soci::soci_error& error) {
  const std::string text = error.get_error_message();
  if (is_locked(error)) raise<CORBA::TRANSIENT>(MINOR_LOCKED, text);
  switch (result_code(error)) {
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
      raise<CORBA::PERSIST_STORE>(MINOR_CORRUPT, text);
    case SQLITE_FULL:
      raise<CORBA::PERSIST_STORE>(MINOR_FULL, text);
    default:
      raise<CORBA::PERSIST_STORE>(MINOR_STORE_FAILED, text);
  }
}

}  // namespace QZ_PSS
