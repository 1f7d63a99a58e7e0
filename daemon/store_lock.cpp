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
  m_killed = read_lines(m_file.get());
  if (taken && error == EWOULDBLOCK) {
    const std::string pid = m_killed.empty() ? "" : " of pid " + m_killed.front().substr(0, m_killed.front().find('.'));
    throw StartError("store.url: " + store_url + " is in use by the poalocd" + pid +
                     "; stop that one, or set store.url to a store of this poalocd's own");
  }
  if (taken) throw StartError("store.url: cannot lock \"" + path + "\": " + std::generic_category().message(error));
  auto owners = m_killed;
  owners.insert(owners.begin(), m_owner);
  write(owners);
}

StoreLock::~StoreLock() {
  write(m_killed);
}

void StoreLock::forget_killed_owners() {
  m_killed.clear();
  write({m_owner});
}

void StoreLock::write(const std::vector<std::string>& owners) const {
  std::string text;
  for (const auto& owner : owners) text += owner + "\n";
  // In this order the file never loses an owner half-way. What cannot be written is only missed after a kill.
  const ssize_t written = ::pwrite(m_file.get(), text.data(), text.size(), 0);
  if (written >= 0) (void)!::ftruncate(m_file.get(), written);
}

}  // namespace poalocd
