// How a server is started, as administrators write it.
#pragma once

#include <qz_imr_admin.hh>

#include "daemon/settings.h"

namespace poalocd {

// QZ_IMRAdmin::InvalidValue for the first member that cannot be as it is.
ProcessSettings to_settings(const QZ_IMRAdmin::ProcessInfo& info);
QZ_IMRAdmin::ProcessInfo to_info(const ProcessSettings& settings);

}  // namespace poalocd
