// Threads of the daemon's process.
#pragma once

#include <cstddef>
#include <functional>
#include <string>

// What a thread does. run() may end with "delete this".
class QZ_ThreadBody {
 public:
  virtual ~QZ_ThreadBody() = default;
  virtual int run() = 0;
};

// Told of an exception that leaves a thread's run().
using QZ_ExceptionHandler = std::function<void(const std::string& what)>;
// Writes to standard error.
const QZ_ExceptionHandler& QZ_global_exception_handler();

class QZ_ThreadFactory {
 public:
  // detach_state 0: detached, the only kind there is. stack_size 0: the platform's default, otherwise octets.
  QZ_ThreadFactory(int detach_state, std::size_t stack_size);

  // Runs body.run() on a new thread; CORBA::NO_RESOURCES when there can be none (body untouched then).
  void start(QZ_ThreadBody& body, const QZ_ExceptionHandler& handler) const;

 private:
  std::size_t m_stack_size;
};
