// Loading plug-in libraries.
#pragma once

#include <qz_logging.hh>
#include <stdexcept>
#include <string>
#include <vector>

#include "daemon/settings.h"
#include "platform/idl/oa_locator_plugin.h"

namespace poalocd {

// what() is one sentence for the administrator.
class PluginError : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

// Loads each library, which stays loaded until the process ends, and checks what it declares. Returns the locator
// plug-ins of all of them, in the order in which they are listed.
// PluginError when a library cannot be loaded, declares nothing, needs what this host does not have, or brings no
// locator plug-in.
std::vector<QZ_LocationPlugIn::OALocatorPlugIn*> load_plugins(const PluginSettings& settings,
                                                              QZ_Logging::EventLog_ptr log);

}  // namespace poalocd
