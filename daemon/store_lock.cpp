#include "daemon/store_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <sstream>
#include <system_error>

#include "daemon/process_instance.h"
#include "daemon/start_error.h"
#include "platform/pss/pss_errors.h"
#include "platform/pss/store_url.h"

namespace poalocd {

namespace {

constexpr const char* REMEDY = "; make the folder and give it to poalocd's user, or set store.url to another place";

// The same file for every path of the store.
std::string lock_path(const std::string& store_url) {
  try {
    const std::string file = QZ_PSS::store_file(store_url);
    std::error_code error;
    const auto real = std::filesystem::weakly_canonical(file, error);
    return (error ? file : real.string()) + ".lock";
  } catch (const QZ_PSS::OpenError& e) {
    throw StartError("store.url: " + std::string(e.what()) + REMEDY);
  }
}

std::vector<std::string> read_lines(int fd) {
  std::string text;
  char buffer[4096];
  for (ssize_t size; (size = ::pread(fd, buffer, sizeof buffer, static_cast<off_t>(text.size()))) > 0;)
    text.append(buffer, static_cast<std::size_t>(size));
  std::vector<std::string> result;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);)
    if (!line.empty()) result.push_back(line);
  return result;
}

std::string own_name() {
  const auto identity = ProcessInstance::identify(::getpid());
  return std::to_string(identity.pid) + "." + std::to_string(identity.start_time) + "." + identity.boot_id;
}

}  // namespace

StoreLock::StoreLock(const std::string& store_url) : m_owner(own_name()) {
  const std::string path = lock_path(store_url);
  m_file = UniqueFd(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOCTTY, 0640));
  if (!m_file.valid())
    throw StartError("store.url: cannot open \"" + path + "\": " + std::generic_category().message(errno) + REMEDY);
  const bool taken = ::flock(m_file.get(), LOCK_EX | LOCK_NB) != 0;
  const int error = errno;
  auto lines = read_lines(m_file.get());
  if (taken && error == EWOULDBLOCK) {
    const std::string pid = lines.empty() ? "" : " of pid " + lines.front().substr(0, lines.front().find('.'));
    throw StartError("store.url: " + store_url + " is in use by the poalocd" + pid +
                     "; stop that one, or set store.url to a store of this poalocd's own");
  }
  if (taken) throw StartError("store.url: cannot lock \"" + path + "\": " + std::generic_category().message(error));
  // The others name owners.
  std::erase_if(lines, [](const std::string& line) { return line.find('/') == std::string::npos; });
  const QZ_MutexLock lock(m_mutex);
  m_runs_of_killed = std::move(lines);
  write(m_owner + "\n");
}

StoreLock::~StoreLock() {
  const QZ_MutexLock lock(m_mutex);
  write("");
}

std::string StoreLock::begin_run() {
  const QZ_MutexLock lock(m_mutex);
  const std::string run = m_owner + "/" + std::to_string(++m_number_of_runs);
  m_runs.insert(run);
  write(m_owner + "\n");
  return run;
}

void StoreLock::settle_run(const std::string& run) {
  const QZ_MutexLock lock(m_mutex);
  if (m_runs.erase(run) != 0) write(m_owner + "\n");
}

std::vector<std::string> StoreLock::runs_of_killed() {
  const QZ_MutexLock lock(m_mutex);
  return m_runs_of_killed;
}

void StoreLock::forget_runs_of_killed() {
  const QZ_MutexLock lock(m_mutex);
  m_runs_of_killed.clear();
  write(m_owner + "\n");
}

void StoreLock::write(const std::string& owner) const {
  std::string text = owner;
  for (const auto& run : m_runs_of_killed) text += run + "\n";
  for (const auto& run : m_runs) text += run + "\n";
  // In this order the file never loses a line half-way. What cannot be written is only missed after a kill.
  const ssize_t written = ::pwrite(m_file.get(), text.data(), text.size(), 0);
  if (written >= 0) (void)!::ftruncate(m_file.get(), written);
}

}  // namespace poalocd
