#include "tests/soak/soak_client.h"

#include <algorithm>
#include <array>
#include <stdexcept>

namespace {

using support::Reply;

// A server that dies or does not come is known to be so after its own time limits at the latest.
constexpr std::chrono::minutes PATIENCE(1);

[[noreturn]] void refuse(const Reply& reply) {
  throw std::runtime_error("an answer that this request may not get: " + describe(reply));
}

bool is_documented(const support::SystemException& exception) {
  constexpr std::array MINORS = {0x515A0C00U, 0x515A0C01U, 0x515A0C03U, 0x515A0C04U};
  return exception.id == "IDL:omg.org/CORBA/TRANSIENT:1.0" && exception.completed == 1 &&
         std::find(MINORS.begin(), MINORS.end(), exception.minor) != MINORS.end();
}

// A server's own key names its POA and ends with the object's id.
bool leads_to(const support::ForwardedReference& forward, const std::string& path) {
  const std::string key = support::text_of(forward.key);
  return key.find(path) != std::string::npos && key.ends_with("object");
}

}  // namespace

SoakBooks& SoakBooks::operator+=(const SoakBooks& other) {
  asked += other.asked;
  forwarded += other.forwarded;
  exceptions += other.exceptions;
  cancelled += other.cancelled;
  deserted += other.deserted;
  return *this;
}

SoakClient::SoakClient(const support::Locator& locator, const std::vector<Target>& targets, unsigned seed)
    : m_locator(locator), m_targets(targets), m_random(seed) {}

void SoakClient::run(const std::atomic<bool>& end) {
  while (!end) ask_once();
}

void SoakClient::ask_once() {
  if (!m_connection)
    m_connection = std::make_unique<support::GiopClient>(m_locator.host(), support::Locator::FRONT_DOOR);
  Asked asked;
  asked.target = &m_targets[m_random() % m_targets.size()];
  asked.dialect = {static_cast<unsigned>(m_random() % 3), static_cast<support::ByteOrder>(m_random() % 2)};
  asked.locate = m_random() % 3 == 0;
  support::RequestSpec spec;
  spec.dialect = asked.dialect;
  spec.id = ++m_last_id;
  spec.key = asked.target->key;
  m_connection->send(asked.locate ? locate_request(spec) : request(spec));
  ++m_books.asked;
  const unsigned mood = m_random() % 32;
  if (mood == 0) {
    m_connection.reset();
    m_cancelled.clear();
    ++m_books.deserted;
  } else if (mood <= 2) {
    m_connection->send(support::cancel_request(spec.dialect, spec.id));
    m_cancelled.emplace(spec.id, asked);
    ++m_books.cancelled;
  } else {
    receive_answer(spec.id, asked);
  }
}

void SoakClient::receive_answer(std::uint32_t id, const Asked& asked) {
  for (;;) {
    const Reply reply = m_connection->receive_reply(PATIENCE);
    if (reply.id == id) {
      ++(check(asked, reply) ? m_books.forwarded : m_books.exceptions);
      return;
    }
    // A request that was cancelled may have been answered before, but only once.
    const auto cancelled = m_cancelled.extract(reply.id);
    if (cancelled.empty()) refuse(reply);
    check(cancelled.mapped(), reply);
  }
}

bool SoakClient::check(const Asked& asked, const Reply& reply) {
  const bool known = !asked.target->path.empty();
  if ((reply.type == support::LOCATE_REPLY) != asked.locate || reply.dialect.minor != asked.dialect.minor)
    refuse(reply);
  if (reply.forward) {
    if (!known || !leads_to(*reply.forward, asked.target->path)) refuse(reply);
    return true;
  }
  if (!known) {
    const bool unknown = asked.locate ? reply.status == support::UNKNOWN_OBJECT : bool(reply.exception);
    if (!unknown || (!asked.locate && reply.exception->id != "IDL:omg.org/CORBA/OBJECT_NOT_EXIST:1.0")) refuse(reply);
    return false;
  }
  // Before GIOP 1.2 this stands for an exception that the request itself would get.
  if (asked.locate && reply.dialect.minor < 2 && reply.status == support::OBJECT_HERE) return false;
  if (!reply.exception || !is_documented(*reply.exception)) refuse(reply);
  return false;
}
