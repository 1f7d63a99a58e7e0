#include "platform/binding/request_record.h"

#include <utility>

#include "platform/binding/connection.h"
#include "platform/binding/front_door_context.h"
#include "platform/binding/io_thread.h"
#include "platform/orb/ior_impl.h"

namespace QZ_Binding {

namespace {

// OBJECT_NOT_EXIST: there is no object adapter for the key (CORBA 3.3 part 1, appendix A).
constexpr std::uint32_t NO_ADAPTER_MINOR = 0x4f4d0002;

constexpr std::size_t KEPT_CAPACITY = 4096;

void clear_octets(std::vector<unsigned char>& octets) {
  if (octets.capacity() > KEPT_CAPACITY) octets = {};
  octets.clear();
}

}  // namespace

void RequestRecord::begin(std::shared_ptr<Connection> connection, const QZ_Giop::RequestHeader& header,
                          QZ_Giop::Time arrival) {
  m_connection = std::move(connection);
  m_arrival = arrival;
  m_to = {header.version, header.little_endian, header.request_id};
  m_locate = header.locate;
  m_response_expected = header.response_expected;
  m_key.assign(header.key.begin(), header.key.end());
  m_marks.store(0, std::memory_order_relaxed);
  m_references.store(2, std::memory_order_relaxed);
  links = {};
}

void RequestRecord::clear() {
  m_connection.reset();
  clear_octets(m_key);
  clear_octets(m_reply);
}

void RequestRecord::release() {
  if (m_references.fetch_sub(1, std::memory_order_acq_rel) == 1) m_connection->thread().recycle(this);
}

bool RequestRecord::abandoned() const {
  return m_connection->gone() || (marks() & (CANCELLED | CLAIMED)) != 0;
}

CORBA::OctetSeq* RequestRecord::new_key() {
  if (m_key.empty()) return nullptr;
  const auto size = static_cast<CORBA::ULong>(m_key.size());
  return new CORBA::OctetSeq(size, size, m_key.data(), false);
}

void RequestRecord::forward(QZ_IOR::IOR_ptr target, bool permanent) {
  const auto* ior = dynamic_cast<const QZ_IOR::IORImpl*>(target);
  if (!ior) throw CORBA::BAD_PARAM(0, CORBA::COMPLETED_NO);
  if (!claim()) return;
  FrontDoorCounters& counters = m_connection->context().counters;
  if (!m_response_expected) {
    ++counters.oneway_forwards_lost;
  } else {
    ++counters.forwards;
    const std::size_t start = QZ_Giop::begin_forward(m_reply, m_to, m_locate, permanent);
    ior->append_to(m_reply, m_to.little_endian);
    QZ_Giop::end_message(m_reply, start);
  }
  mark(ANSWERED);
}

void RequestRecord::refuse(const CORBA::Any& exception) {
  const CORBA::SystemException* system = nullptr;
  if ((exception >>= system) && system) {
    refuse(*system);
  } else {
    refuse(CORBA::UNKNOWN(0, CORBA::COMPLETED_NO));
  }
}

void RequestRecord::refuse(const CORBA::SystemException& exception) {
  if (!claim()) return;
  ++m_connection->context().counters.exceptions;
  if (m_response_expected) {
    encode_exception(exception._rep_id(), exception.minor(), static_cast<std::uint32_t>(exception.completed()));
  }
  mark(ANSWERED);
}

void RequestRecord::encode_exception(std::string_view repository_id, std::uint32_t minor, std::uint32_t completion) {
  using namespace QZ_Giop;
  if (m_locate && m_to.version.minor < 2) {
    // These versions cannot say it; the request that follows is told.
    ++m_connection->context().counters.locate_exceptions_as_here;
    end_message(m_reply, begin_locate_reply(m_reply, m_to, LocateStatus::OBJECT_HERE));
    return;
  }
  const std::size_t start = m_locate ? begin_locate_reply(m_reply, m_to, LocateStatus::LOC_SYSTEM_EXCEPTION)
                                     : begin_reply(m_reply, m_to, ReplyStatus::SYSTEM_EXCEPTION);
  append_system_exception(m_reply, start, m_to.little_endian, repository_id, minor, completion);
  end_message(m_reply, start);
}

void RequestRecord::refuse_unknown() {
  if (!m_locate) return refuse(CORBA::OBJECT_NOT_EXIST(NO_ADAPTER_MINOR, CORBA::COMPLETED_NO));
  if (!claim()) return;
  ++m_connection->context().counters.unknown_objects;
  using namespace QZ_Giop;
  end_message(m_reply, begin_locate_reply(m_reply, m_to, LocateStatus::UNKNOWN_OBJECT));
  mark(ANSWERED);
}

void RequestRecord::announce() {
  if ((mark(ANNOUNCED) & ANSWERED) != 0) m_connection->thread().notice(*this);
}

void RequestRecord::finish() {
  if ((marks() & CLAIMED) == 0) {
    FrontDoorContext& context = m_connection->context();
    ++context.counters.requests_unanswered;
    context.reporter.report_seldom(NO_OUTCOME_MSG, [] { return std::vector<std::string>(); });
    refuse(CORBA::UNKNOWN(0, CORBA::COMPLETED_NO));
  }
  if ((mark(ANNOUNCED | FINISHED) & FINISHED) != 0) return;
  m_connection->thread().notice(*this);
  release();
}

}  // namespace QZ_Binding
