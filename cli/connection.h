// The way to the locator.
#pragma once

#include <omniORB4/CORBA.h>

#include <string>

#include "cli/options.h"

namespace poaloc {

// Calls end after the time limit of the options; see expect_changes(). One for each run of the command: it initialises
// the process's ORB.
class Connection {
 public:
  // Asks nobody yet. Failure (USAGE) when the locator's URL is none.
  explicit Connection(const Options& options);
  ~Connection();
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  // What the front door tells under that name. Failure (UNREACHABLE) when it does not answer or tells nothing.
  template <class Interface>
  typename Interface::_var_type resolve(const char* name) {
    const CORBA::Object_var object = resolve_object(name);
    typename Interface::_var_type result = narrow<Interface>(object, name);
    return result;
  }

  // Any reference, as text. Failure (USAGE) when it is none.
  CORBA::Object_var to_object(const std::string& text) const;
  CORBA::ORB_ptr orb() const { return m_orb; }

  // For the calls from here on, which change something: the locator goes on with a change when nobody waits for it, so
  // that they may take as long as they do, unless the user gave a limit.
  void expect_changes();

  // "corbaloc::host:port"
  const std::string& locator() const { return m_locator; }

  // An exception of a call as a failure.
  [[noreturn]] void fail(const CORBA::Exception& exception) const;

  // A locator as people write it, "host:port" or a corbaloc URL, without name. Failure (USAGE) for anything else.
  static std::string locator_url(const std::string& text);

 private:
  [[noreturn]] void fail_timeout() const;
  CORBA::Object_var resolve_object(const char* name) const;
  [[noreturn]] void refuse_name(const char* name) const;

  template <class Interface>
  typename Interface::_ptr_type narrow(CORBA::Object_ptr object, const char* name) const {
    try {
      auto* narrowed = Interface::_narrow(object);
      if (!CORBA::is_nil(narrowed)) return narrowed;
    } catch (const CORBA::OBJECT_NOT_EXIST&) {
      // The front door says so of names that it does not tell at this address.
    }
    refuse_name(name);
  }

  const std::string m_locator;
  const double m_timeout;
  const bool m_timeout_given;
  bool m_changes = false;
  CORBA::ORB_var m_orb;
};

}  // namespace poaloc
