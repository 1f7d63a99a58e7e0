// The behaviour of a test server, chosen by its arguments.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

struct TestServerOptions {
  std::string locator;  // HOST:PORT
  std::string domain = "test";
  std::string orb = "server";
  std::string address = "127.0.0.1";  // the server listens here
  std::vector<std::string> poas;      // paths, names separated by "/"
  std::string activator = "ok";       // none, ok, nonexistent, system-exception, hang, exit

  std::string starts;         // file: gets a line with the process id at each start
  std::string activations;    // file: gets a line for each activate() call: the paths, separated by blanks
  std::string environment;    // file: gets POALOCATOR_* variables, one a line
  std::string register_when;  // registers nothing before this file exists
  std::string ready;          // file made when everything is registered
  std::string release;        // a hanging activator goes on when this file exists
  std::string left;           // file made when everything is unregistered
  std::string exit_when;      // after leaving, stays until this file exists

  bool lazy = false;  // POAs are registered when they are activated, not at the start
  bool exit_at_once = false;
  bool crash_after_registering = false;
  bool ignore_sigterm = false;
  bool second_activator = false;
  bool crash_on_call = false;  // dies when a client calls it

  pid_t owner = 0;  // the server ends when this process does
};

// Ends the process with a message when they make no sense.
TestServerOptions parse_options(int argc, char** argv);
