#pragma once

#include <cstddef>

#include "platform/binding/request_record.h"

namespace QZ_Binding {

// Requests linked through themselves, each in one list at most. For one thread.
class RequestList {
 public:
  RequestList() = default;
  RequestList(const RequestList&) = delete;
  RequestList& operator=(const RequestList&) = delete;

  std::size_t size() const { return m_size; }
  // Null when the list is empty; links lead on from there.
  RequestRecord* first() const { return m_first; }
  void add(RequestRecord& record) {
    record.links.list = this;
    record.links.previous = nullptr;
    record.links.next = m_first;
    if (m_first) m_first->links.previous = &record;
    m_first = &record;
    ++m_size;
  }

  // Removes some record; null when the list is empty.
  RequestRecord* take() {
    RequestRecord* record = m_first;
    if (!record) return nullptr;
    m_first = record->links.next;
    if (m_first) m_first->links.previous = nullptr;
    record->links.list = nullptr;
    --m_size;
    return record;
  }

  // The record must be in this list.
  void remove(RequestRecord& record) {
    auto& links = record.links;
    (links.previous ? links.previous->links.next : m_first) = links.next;
    if (links.next) links.next->links.previous = links.previous;
    links.list = nullptr;
    --m_size;
  }

 private:
  RequestRecord* m_first = nullptr;
  std::size_t m_size = 0;
};

}  // namespace QZ_Binding
