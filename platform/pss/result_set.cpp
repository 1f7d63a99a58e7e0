#include "platform/pss/result_set.h"

#include "platform/pss/home_context.h"
#include "platform/pss/raise.h"

namespace QZ_PSS {

ResultSet::ResultSet(std::shared_ptr<HomeContext> context, long long after)
    : m_context(std::move(context)), m_last(after) {}
ResultSet::~ResultSet() = default;

bool ResultSet::next() {
  if (!m_context) return false;
  if (m_position == m_page.size()) {
    m_page = m_context->page(m_last);
    m_position = 0;
    if (m_page.empty()) {
      close();
      return false;
    }
  }
  ++m_position;
  return true;
}

CORBA::Any* ResultSet::value(int column) const {
  if (column != 1) raise<CORBA::BAD_PARAM>(MINOR_BAD_COLUMN, minor_text(MINOR_BAD_COLUMN));
  CORBA::Any_var any = new CORBA::Any;
  any.inout() <<= record()->to_reference();
  return any._retn();
}

const QZ_Handle<CosPersistentState::StorageObject>& ResultSet::record() const {
  if (!m_context || m_position == 0) raise<CORBA::BAD_INV_ORDER>(MINOR_NO_ROW, minor_text(MINOR_NO_ROW));
  return m_page[m_position - 1];
}

void ResultSet::close() {
  m_context.reset();
  m_page.clear();
}

}  // namespace QZ_PSS
