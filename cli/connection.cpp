#include "cli/connection.h"

#include "cli/attempt_limit.h"
#include "cli/failure.h"
#include "cli/text.h"
#include "platform/orb/exception_text.h"

namespace poaloc {

namespace {

// Longer than any page of the administration.
constexpr const char* MAX_MESSAGE_SIZE = "33554432";

CORBA::ORB_ptr init_orb(double timeout) {
  const std::string milliseconds = std::to_string(static_cast<long>(timeout * 1000));
  const char* options[][2] = {{"clientCallTimeOutPeriod", milliseconds.c_str()},
                              {"clientConnectTimeOutPeriod", milliseconds.c_str()},
                              {"giopMaxMsgSize", MAX_MESSAGE_SIZE},
                              {"traceLevel", "0"},
                              // Calls only, the attempts of which are counted.
                              {"verifyObjectExistsAndType", "0"},
                              {nullptr, nullptr}};
  int argc = 0;
  CORBA::ORB_ptr orb = CORBA::ORB_init(argc, nullptr, "omniORB4", options);
  limit_attempts();
  return orb;
}

[[noreturn]] void refuse_locator(const std::string& text) {
  throw Failure(USAGE, "\"" + printable(text) +
                           "\" names no locator: write its front door as HOST:PORT, for instance " + Options().locator +
                           ".");
}

}  // namespace

std::string Connection::locator_url(const std::string& text) {
  constexpr const char* SCHEME = "corbaloc:";
  std::string url = text.starts_with(SCHEME) ? text : std::string(SCHEME) + ":" + text;
  while (!url.empty() && url.back() == '/') url.pop_back();
  const bool has_host = url.size() > std::string(SCHEME).size() + 1;
  // What a terminal would obey is part of no address.
  if (!has_host || url.find('/') != std::string::npos || url.find_first_of(" \t\r\n#") != std::string::npos ||
      printable(url) != url)
    refuse_locator(text);
  return url;
}

Connection::Connection(const Options& options)
    : m_locator(locator_url(options.locator)),
      m_timeout(options.timeout),
      m_timeout_given(options.timeout_given),
      m_orb(init_orb(options.timeout)) {
  try {
    const CORBA::Object_var any = m_orb->string_to_object((m_locator + "/name").c_str());
  } catch (const CORBA::SystemException&) {
    refuse_locator(options.locator);
  }
}

Connection::~Connection() {
  try {
    m_orb->destroy();
  } catch (const CORBA::Exception&) {
    // The process ends anyway.
  }
}

CORBA::Object_var Connection::to_object(const std::string& text) const {
  try {
    return m_orb->string_to_object(text.c_str());
  } catch (const CORBA::SystemException&) {
    throw Failure(USAGE, "\"" + printable(text) + "\" is no reference: give an IOR or a corbaloc URL.");
  }
}

CORBA::Object_var Connection::resolve_object(const char* name) const {
  return to_object(m_locator + "/" + name);
}

void Connection::expect_changes() {
  m_changes = true;
  if (!m_timeout_given) omniORB::setClientCallTimeout(0);
}

void Connection::refuse_name(const char* name) const {
  throw Failure(UNREACHABLE, "The locator at " + m_locator + " does not tell \"" + name +
                                 "\": use an address at which it admits administrators, with --locator.");
}

void Connection::fail_timeout() const {
  throw Failure(UNREACHABLE,
                "The locator at " + m_locator + " did not answer within " +
                    duration_text(static_cast<std::uint64_t>(m_timeout * 1000)) +
                    (m_changes ? " and may still be at it: look whether it is done, or leave out --timeout."
                               : ": try again, or give it longer with --timeout."));
}

void Connection::fail(const CORBA::Exception& exception) const {
  const std::string text = QZ_CORBA::to_string(exception);
  if (dynamic_cast<const CORBA::TIMEOUT*>(&exception)) fail_timeout();
  if (dynamic_cast<const CORBA::COMM_FAILURE*>(&exception))
    throw Failure(UNREACHABLE,
                  "The connection to the locator at " + m_locator + " broke: see that poalocd runs, and try again.");
  if (const auto* transient = dynamic_cast<const CORBA::TRANSIENT*>(&exception)) {
    constexpr CORBA::ULong VENDOR_MASK = 0xfffff000;
    constexpr CORBA::ULong LOCATOR_VENDOR = 0x515a0000;
    if ((transient->minor() & VENDOR_MASK) == LOCATOR_VENDOR)
      throw Failure(FAILED, "The locator cannot do this now, " + text + ": try again.");
    throw Failure(UNREACHABLE,
                  "No locator answers at " + m_locator + ": start poalocd, or name another address with --locator.");
  }
  if (dynamic_cast<const CORBA::OBJECT_NOT_EXIST*>(&exception))
    throw Failure(NOT_FOUND, "It does not exist any more: list again what there is.");
  if (dynamic_cast<const CORBA::PERSIST_STORE*>(&exception))
    throw Failure(FAILED, "The locator's store failed, " + text + ": look into its event log.");
  throw Failure(FAILED, "The locator answered " + text + ": look into its event log.");
}

}  // namespace poaloc
