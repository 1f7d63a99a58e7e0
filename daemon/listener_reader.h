// Reads where a part of the daemon listens, and whom it admits there.
#pragma once

#include <string>
#include <vector>

#include "daemon/settings.h"
#include "daemon/table_reader.h"

namespace poalocd {

// The key "listen" of the tables "front_door" and "orb_endpoint": an address, or a list of addresses and of tables with
// an address and its roles. A loopback address has every role unless it says otherwise; any other must say its roles.
std::vector<QZ_Binding::ListenerConfig> read_front_door_listeners(TableReader& table,
                                                                  std::vector<std::string>& problems);
// Also the key "published", here for one listener and in the tables of several.
std::vector<OrbListenerSettings> read_orb_listeners(TableReader& table, std::vector<std::string>& problems);

}  // namespace poalocd
