// The rows of a query, one at a time.
#pragma once

#include <omniORB4/CORBA.h>

#include <memory>
#include <qz_pss.hh>
#include <string>
#include <vector>

#include "platform/base/qz_handle.h"

namespace CosPersistentState {
class StorageObject;
}  // namespace CosPersistentState

namespace QZ_PSS {

class HomeContext;

// Rows come in the order in which the records were created. They are read from the store in pages, so memory does
// not depend on their number, and no cursor is left open in the store between calls.
// Records may be created and destroyed while a result set is open, by this thread too: a new record comes at the end,
// a destroyed one comes no more unless its page has been read already; its reference then raises OBJECT_NOT_EXIST
// when it is used, while the record that the row itself holds reads as any that was found before (StorageObject).
// Used by the session's thread, while its association lasts (BAD_INV_ORDER afterwards).
class ResultSet {
 public:
  // after: begins behind the record with that sequence number, whether it is still there or not.
  explicit ResultSet(std::shared_ptr<HomeContext> context, long long after = 0);
  ~ResultSet();
  ResultSet(const ResultSet&) = delete;
  ResultSet& operator=(const ResultSet&) = delete;

  // Steps to the next row, first to the first one; false when there is none left, or after close().
  bool next();

  // The current row: an any with a StorageObjectReference, which StorageRef<T>::from_any turns into a record. The
  // caller owns it (CORBA::Any_var). column: 1, otherwise BAD_PARAM. BAD_INV_ORDER when there is no current row.
  CORBA::Any* value(int column) const;

  // The current row's record with its members: costs no access to the store. Errors are those of value(1).
  // StorageRef<T>::from_row gives it its type.
  const QZ_Handle<CosPersistentState::StorageObject>& record() const;

  void close();

 private:
  std::shared_ptr<HomeContext> m_context;  // null once closed
  std::vector<QZ_Handle<CosPersistentState::StorageObject>> m_page;
  std::size_t m_position = 0;  // of the current row in m_page, plus 1; 0: before the first
  long long m_last = 0;        // the last sequence number read
};

}  // namespace QZ_PSS
