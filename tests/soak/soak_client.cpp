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
  const Target& target = m_targets[m_random() % m_targets.size()];
  support::RequestSpec spec;
  spec.dialect = {static_cast<unsigned>(m_random() % 3), static_cast<support::ByteOrder>(m_random() % 2)};
  spec.id = ++m_last_id;
  spec.key = target.key;
  m_connection->send(m_random() % 3 == 0 ? locate_request(spec) : request(spec));
  ++m_books.asked;
  const unsigned mood = m_random() % 32;
  if (mood == 0) {
    m_connection.reset();
    ++m_books.deserted;
  } else if (mood <= 2) {
    m_connection->send(support::cancel_request(spec.dialect, spec.id));
    ++m_books.cancelled;
  } else {
    receive_answer(target, spec.id);
  }
}

void SoakClient::receive_answer(const Target& target, std::uint32_t id) {
  for (;;) {
    const Reply reply = m_connection->receive_reply(PATIENCE);
    // A request that was cancelled may have been answered before.
    if (reply.id < id) continue;
    if (reply.id != id) refuse(reply);
    return check(target, reply);
  }
}

void SoakClient::check(const Target& target, const Reply& reply) {
  if (reply.forward) {
    if (!target.known || reply.forward->key.empty()) refuse(reply);
    ++m_books.forwarded;
    return;
  }
  ++m_books.exceptions;
  const bool locate = reply.type == support::LOCATE_REPLY;
  if (!target.known) {
    const bool unknown = locate ? reply.status == support::UNKNOWN_OBJECT : bool(reply.exception);
    if (!unknown || (!locate && reply.exception->id != "IDL:omg.org/CORBA/OBJECT_NOT_EXIST:1.0")) refuse(reply);
    return;
  }
  // Before GIOP 1.2 this stands for an exception that the request itself would get.
  if (locate && reply.dialect.minor < 2 && reply.status == support::OBJECT_HERE) return;
  if (!reply.exception || !is_documented(*reply.exception)) refuse(reply);
}
