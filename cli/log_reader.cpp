#include "cli/log_reader.h"

#include <algorithm>
#include <thread>

#include "cli/failure.h"
#include "cli/follow.h"
#include "cli/repository.h"
#include "cli/text.h"

namespace poaloc {

namespace {

constexpr CORBA::ULong CHUNK = 256 * 1024;
constexpr long long FIRST_WINDOW = 64 * 1024;
constexpr long long LAST_WINDOW = 16 * 1024 * 1024;
constexpr std::chrono::milliseconds POLL_INTERVAL{300};

}  // namespace

LogReader::LogReader(Context& context, const std::string& name) : m_context(context), m_name(name) {
  find();
}

void LogReader::find() {
  Connection& connection = m_context.connection();
  find_process(connection, m_name);
  const auto registry =
      connection.resolve<QZ_LocatorAdmin::ActiveProcessRegistry>(QZ_LocatorAdmin::ACTIVE_PROCESS_REGISTRY);
  m_process = registry->find(m_name.c_str());
  if (CORBA::is_nil(m_process)) find_process(connection, m_name);
}

std::string LogReader::read_some() {
  try {
    CORBA::LongLong next = 0;
    const CORBA::OctetSeq_var octets = m_process->read_log(m_position, CHUNK, next);
    m_position = next;
    return {reinterpret_cast<const char*>(octets->get_buffer()), octets->length()};
  } catch (const QZ_LocatorAdmin::NoLog& e) {
    throw Failure(NOT_FOUND, "The log of process \"" + printable(m_name) + "\" cannot be read, " +
                                 printable(e.reason.in()) + ": name a file with \"poaloc process set --log\".");
  }
}

std::string LogReader::read_from(long long position) {
  m_position = position;
  std::string result;
  for (std::string some; !(some = read_some()).empty();) result += some;
  return result;
}

void LogReader::print_last(unsigned lines) {
  std::string text;
  bool whole = false;
  for (long long window = FIRST_WINDOW; !whole; window *= 4) {
    text = read_from(-window);
    whole = static_cast<long long>(text.size()) < window || window >= LAST_WINDOW ||
            std::count(text.begin(), text.end(), '\n') > static_cast<long>(lines);
  }
  // A last line without its end counts too.
  std::size_t wanted = lines;
  std::size_t begin = text.size();
  if (begin != 0 && text.back() == '\n') --begin;
  while (begin != 0 && wanted != 0) {
    const auto line_end = text.rfind('\n', begin - 1);
    begin = line_end == std::string::npos ? 0 : line_end;
    --wanted;
  }
  if (lines == 0) begin = text.size();
  if (begin != 0 && begin < text.size()) ++begin;
  print(text.substr(begin));
  if (!m_incomplete.empty()) print("\n");
}

void LogReader::follow() {
  poaloc::follow(
      m_context, [this] { find(); },
      [this] {
        const std::string text = read_some();
        print(text);
        if (text.empty()) std::this_thread::sleep_for(POLL_INTERVAL);
      });
}

void LogReader::print(const std::string& text) {
  Output& output = m_context.output();
  if (!output.json()) return output.text(text);
  m_incomplete += text;
  std::size_t begin = 0;
  for (std::size_t end; (end = m_incomplete.find('\n', begin)) != std::string::npos; begin = end + 1)
    output.object({{"line", m_incomplete.substr(begin, end - begin)}});
  m_incomplete.erase(0, begin);
}

}  // namespace poaloc
