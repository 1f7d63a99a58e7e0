#include "daemon/admin/log_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <qz_locator_admin.hh>
#include <system_error>

#include "daemon/unique_fd.h"

namespace poalocd {

namespace {

constexpr CORBA::ULong MAX_OCTETS = CORBA::ULong{256} * 1024;

[[noreturn]] void fail(const std::string& file, const std::string& why) {
  throw QZ_LocatorAdmin::NoLog(("\"" + file + "\" " + why).c_str());
}

[[noreturn]] void fail(const std::string& file, int error) {
  fail(file, "cannot be read: " + std::system_category().message(error));
}

}  // namespace

CORBA::OctetSeq* read_log_file(const std::string& file, CORBA::LongLong position, CORBA::ULong how_many,
                               CORBA::LongLong& next) {
  if (file.empty()) throw QZ_LocatorAdmin::NoLog("it has no log file");
  CORBA::OctetSeq_var result = new CORBA::OctetSeq;
  next = 0;
  // What is no ordinary file must not be waited for.
  const UniqueFd log(::open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
  if (!log.valid()) {
    if (errno == ENOENT) return result._retn();
    fail(file, errno);
  }
  struct stat about{};
  if (::fstat(log.get(), &about) != 0) fail(file, errno);
  if (!S_ISREG(about.st_mode)) fail(file, "is no ordinary file");
  const CORBA::LongLong size = about.st_size;
  const CORBA::LongLong begin = position >= 0 ? std::min(position, size) : size - (position < -size ? size : -position);
  result->length(static_cast<CORBA::ULong>(std::min<CORBA::LongLong>(size - begin, std::min(how_many, MAX_OCTETS))));
  const ssize_t got = ::pread(log.get(), result->get_buffer(), result->length(), begin);
  if (got < 0) fail(file, errno);
  result->length(static_cast<CORBA::ULong>(got));
  next = begin + got;
  return result._retn();
}

}  // namespace poalocd
