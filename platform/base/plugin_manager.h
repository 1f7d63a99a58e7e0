// The process's plug-in manager, with which plug-ins announce themselves while their library is loaded.
#pragma once

#include <qz_plugin.hh>

namespace QZ_PlugIn {

// A duplicate; exists from the first call to the end of the process.
PlugInManager_ptr plugin_manager();

}  // namespace QZ_PlugIn
