#pragma once

#include <string>
#include <vector>

#include "adapters/omniorb/locator_registration.h"

struct BankOptions {
  PoaLocator::LocatorOptions locator;
  bool register_only = false;  // write the references and leave
  bool eager = false;          // create the POAs at the start instead of at the first request
  std::string refs;            // folder for the references; empty: not written
  std::vector<std::string> accounts{"alice", "bob"};
};

// Ends the program for --help and for what cannot be understood. The ORB has taken its own arguments out before.
BankOptions parse_bank_options(int argc, char** argv);
