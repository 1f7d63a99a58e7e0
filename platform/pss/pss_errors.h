// How the store reports failures: CORBA system exceptions, completion COMPLETED_NO, with these minor codes.
// Nothing is logged here; callers find the engine's own words in last_error().
#pragma once

#include <omniORB4/CORBA.h>

#include <stdexcept>
#include <string>

namespace QZ_PSS {

// PERSIST_STORE
constexpr CORBA::ULong MINOR_STORE_FAILED = 0x515A0D01;    // the engine failed (I/O error, read-only file, ...)
constexpr CORBA::ULong MINOR_ALREADY_EXISTS = 0x515A0D02;  // create: there is a record with that key
constexpr CORBA::ULong MINOR_CORRUPT = 0x515A0D03;         // the file is damaged or is no database
constexpr CORBA::ULong MINOR_FULL = 0x515A0D04;            // no space left
constexpr CORBA::ULong MINOR_BAD_RECORD = 0x515A0D05;      // a stored value cannot be read back
// TRANSIENT
constexpr CORBA::ULong MINOR_LOCKED = 0x515A0D06;  // locked by others for the whole busy time-out; may be retried
// BAD_PARAM
constexpr CORBA::ULong MINOR_BAD_QUERY = 0x515A0D07;        // not "select ref(h) from <home type id> h"
constexpr CORBA::ULong MINOR_BAD_REFERENCE = 0x515A0D08;    // not a reference to a record of that type
constexpr CORBA::ULong MINOR_BAD_DECLARATION = 0x515A0D09;  // a storage type or home that cannot be registered
constexpr CORBA::ULong MINOR_BAD_COLUMN = 0x515A0D0A;       // a result set has the one column 1
constexpr CORBA::ULong MINOR_BAD_MODE = 0x515A0D14;         // the mode of an association is 0 or 1
constexpr CORBA::ULong MINOR_BAD_MANAGER = 0x515A0D15;      // a session manager that is nil or of another make
// TRANSACTION_REQUIRED
constexpr CORBA::ULong MINOR_NO_TRANSACTION = 0x515A0D0B;  // mode 1 on a thread without a transaction
constexpr CORBA::ULong MINOR_READ_ONLY = 0x515A0D0C;       // a write through an association in mode 0
// BAD_INV_ORDER
constexpr CORBA::ULong MINOR_SESSION_ENDED = 0x515A0D0D;   // the association or its transaction is over
constexpr CORBA::ULong MINOR_NO_ROW = 0x515A0D0E;          // value() without a current row
constexpr CORBA::ULong MINOR_NO_ORB = 0x515A0D0F;          // object references need StoreOptions::orb
constexpr CORBA::ULong MINOR_IN_TRANSACTION = 0x515A0D13;  // homes are registered outside store transactions
// TRANSACTION_ROLLEDBACK
constexpr CORBA::ULong MINOR_ROLLED_BACK = 0x515A0D10;  // a failure of the store has doomed the transaction
// OBJECT_NOT_EXIST
constexpr CORBA::ULong MINOR_RECORD_GONE = 0x515A0D11;  // the record that a reference names does not exist (any more)
// INVALID_TRANSACTION
constexpr CORBA::ULong MINOR_OTHER_STORE = 0x515A0D12;  // the transaction works on another store already

// True for the failure of create() on an existing key. Such a failure does not doom the transaction.
bool is_already_exists(const CORBA::SystemException& ex);

// What a minor code of this list means; empty for any other.
const char* minor_text(CORBA::ULong minor);

// What happened, in the engine's words, the last time the store raised an exception on this thread; cut after 255
// octets.
std::string last_error();

// The store cannot be opened; what() names the URL and the reason.
class OpenError : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

}  // namespace QZ_PSS
