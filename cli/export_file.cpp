#include "cli/export_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <filesystem>

#include "cli/failure.h"

namespace poaloc {

ExportFile::ExportFile(const std::string& name) : m_name(name) {
  // A file that gets too large is an error like others.
  std::signal(SIGXFSZ, SIG_IGN);
  std::signal(SIGPIPE, SIG_IGN);
  struct stat status{};
  const bool exists = ::stat(name.c_str(), &status) == 0;
  if (exists && S_ISDIR(status.st_mode)) fail(EISDIR);
  // What a link will lead to is made there.
  std::error_code error;
  const bool dangling = !exists && std::filesystem::is_symlink(name, error);
  if (dangling || (exists && !S_ISREG(status.st_mode))) {
    m_out.open(name);
    if (!m_out) fail(errno);
    return;
  }
  m_target = std::filesystem::weakly_canonical(name, error);
  if (error) fail(error.value());
  open_unfinished();
  if (!exists) return;
  // Where the user may not give it away it is their own.
  if (::chown(m_unfinished.c_str(), status.st_uid, status.st_gid) != 0) errno = 0;
  if (::chmod(m_unfinished.c_str(), status.st_mode & 07777) != 0) fail(errno);
}

ExportFile::~ExportFile() {
  if (!m_unfinished.empty()) ::unlink(m_unfinished.c_str());
}

void ExportFile::open_unfinished() {
  std::string unfinished;
  int fd = -1;
  // One that was killed has left its file behind, and in a container all of them may have the same pid.
  for (long number = ::getpid(); fd < 0; ++number) {
    unfinished = m_target + ".unfinished" + std::to_string(number);
    fd = ::open(unfinished.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (fd < 0 && errno != EEXIST) fail(errno);
  }
  ::close(fd);
  m_unfinished = unfinished;
  m_out.open(unfinished);
  if (!m_out) fail(errno);
}

void ExportFile::write(const std::string& text) {
  if (m_interrupt.seen())
    throw Failure(FAILED, "The export was cancelled, and no file was changed: start it again when you are ready.");
  if (!(m_out << text)) fail(errno);
}

void ExportFile::finish() {
  m_out.close();
  if (!m_out) fail(errno);
  if (m_unfinished.empty()) return;
  if (std::rename(m_unfinished.c_str(), m_target.c_str()) != 0) fail(errno);
  m_unfinished.clear();
}

void ExportFile::fail(int error) const {
  fail_file(m_name, "written", error);
}

}  // namespace poaloc
