#include "tests/unit/poa_locator/event_catalogue.h"

#include <gmock/gmock.h>

#include <algorithm>

#include "daemon/event_format.h"

namespace {

// In the order of their ids, from 0.
const std::vector<KnownMessage> all = {
    {0, "rejecting attempt to register POA which is already registered.\nPOA ID: %0\nPOA Name: %1"},
    {0, "rejecting attempt to register POA, it is registered as a namespace in the IMR.\nPOA ID: %0\nPOA Name: %1"},
    {0,
     "rejecting attempt to register POA, it has no entry in the IMR and its\nparent does not allow dynamic "
     "registration.\nPOA ID: %0\nPOA Name: %1"},
    {0, "attempt to unregister POA that is not registered.\nPOA ID: %0\nPOA Name: %1"},
    {1, "POA registered. POA Name: %0"},
    {1, "POA unregistered. POA Name: %0"},
    {0,
     "received duplicate POA registration for an POA that is no longer responding, clearing out stale registration and "
     "allowing new registration.\nPOA ID: %0\nPOA Name: %1"},
    {1, "transient POA entry added to the IMR. POA Name: %0"},
    {1, "persistent POA entry added to the IMR. POA Name: %0, ORB name: %1"},
    {1, "transient POA entry removed from the IMR. POA Name: %0"},
    {1, "POA activator registered.\nORB name: %0"},
    {1, "POA activator unregistered.\nORB name: %0"},
    {16, "POA activator registration rejected, already registered.\nORB name: %0"},
    {16, "POA activator unregistration rejected, not registered.\nORB name: %0"},
    {1,
     "Received duplicate POA activator registration for an activator that\nis no longer responding, clearing out stale "
     "registration and allowing new\nregistration.\nORB name: %0"},
    {0, "received endpoint activator registration for an ORB name that has no entryin the IMR.\nORB name: %0"},
    {32, "Endpoint interceptor received an unknow exception while handling a request."},
    {32, "POA Locator interceptor received an unknown exception while handling a request."},
    {32, "Endpoint interceptor received a system exception while handling a request:\n%0"},
    {32, "POA Locator interceptor received a system exception while handling a request:\n%0"},
    {0, "Starting server process \"%0\" for ORB \"%1\" and POA \"%2\"."},
    {32, "Server start failed for process \"%0\" for ORB \"%1\" and POA \"%2\".\n%3"},
    {0, "Server process for ORB \"%0\" and POA \"%1\" is not configured for process activation."},
    {0, "Server process for POA \"%0\" is a manually started process and not currently running."},
    {0, "No entry in the IMR for POA \"%0\"."},
    {0, "Failed to activate POA \"%0\"."},
    {0, "Server indicates POA \"%0\" does not exist."},
    {0, "Invalid ORB name in POA registration. Received \"%0\", expected \"%1\".\nPOA ID: %2\nPOA Name: %3"},
    {0, "Failed to register POA, no IMR entry and no IMR entry for the parent.POA ID: %0\nPOA Name: %1"},
    {0, "Failed to register POA, no IMR entry exists for ORB name \"%0\".POA ID: %1\nPOA Name: %2"},
    {1, "Active POA removed. POA Name: %0"},
    {1, "Loading Active POA from persistent store. POA Name: %0"},
    {0, "Inserting active POA into active POA table. POA Name: %0"},
    {0, "Removing active POA from active POA table.\nPOA ID: %0\nPOA Name: %1"},
    {0, "Active ORB \"%0\" destroyed and removed from active ORB table."},
    {0, "Adding an active POA entry to the list associated with active ORB \"%0\".\nPOA Name: %1"},
    {16,
     "Rejecting attempt to associate an active POA with the active ORB \"%0\", an entry for the POA already "
     "exists.\nPOA Name: %1"},
    {0, "Removing an active POA entry from the list associated with active ORB \"%0\".\nPOA Name: %1"},
    {16,
     "Rejecting attempt to remove active POA entry from the list associated with active ORB \"%0\", entry does not "
     "exist.\nPOA Name: %1"},
    {1, "Loading persistent data for POA Active ORB. ORB name: %0"},
    {1, "persistent POA entry removed from the IMR. POA Name: %0, ORB name: %1"},
    {1, "Active POA restored from persistent store is still valid. POA Name: %0"},
    {1, "Active POA restored from persistent store is no longer valid. POA Name: %0"},
    {1, "Active ORB restored from persistent store is still valid.ORB name: %0"},
    {1, "Active ORB restored from persistent store is no longer valid.ORB name: %0"},
    {16, "Attempt to remove and entry from the active endpoint table that does not exist.POA ID: %0\nPOA Name: %1"},
    {16, "No persistent data found for an active POA being destroyed. POA Name: %0"},
    {32,
     "A system exception occured while trying to remove persistent data for an active POA. POA Name: %0\nSystem "
     "Exception: %1"},
    {0, "Attempt to deactive active POA failed, it is not active.POA ID: %0\nPOA Name: %1\n"},
    {0, "Attempt to deactivate active POA failed.POA ID: %0\nPOA Name: %1\nSystem Exception: %2"},
    {32, "Attempt to destroy active POA failed with an unknown exception. POA Name: %0\n"},
    {16, "Attempt to remove active ORB from table during destruction failed..ORB name: %0\n"},
    {16, "Failed to find persistent data for an active ORB that is being destroyed.ORB name: %0\n"},
    {32, "Failed to remove persistent data for an active ORB being destroyed.ORB name: %0\nSystem Exception: %1\n"},
    {0, "Attempt to deactive active ORB failed, it is not active.ORB name: %0\n"},
    {0, "Attempt to deactive active ORB failed.ORB name: %0\nSystem Exception: %1\n"},
    {32, "Attempt to destroy active ORB failed with an unknown exception.ORB name: %0\n"},
    {0, "Failed to load active POA from persistent store.System Exception: %0"},
    {0, "Failed to create active POA during registration from server.POA ID: %0\nPOA Name: %1\nSystem Exception: %2"},
    {0, "Failed to create active POA.POA ID: %0\nPOA Name: %1\nSystem Exception: %2"},
    {0,
     "Failed to construct the active ORB while contructing an active POA.POA ID: %0\nPOA Name: %1\nSystem Exception: "
     "%2"},
    {0,
     "Failed to add active ORB to active ORB table during active POA contruction.POA ID: %0\nPOA Name: %1\nSystem "
     "Exception: %2"},
    {32,
     "Failed to add active POA to persistent store during contruction, persistent data already exists. POA Name: %0\n"},
    {32, "Failed to add active POA to persistent store during contruction. POA Name: %0\n"},
    {32, "Failed to create interceptor during active POA contruction. POA Name: %0\nSystem Exception: %1"},
    {32, "Failed to construct active ORB instance.ORB name: %0\nSystem Exception: %1"},
    {32, "Caught an unexpected exception when trying to add a POA IMR entry to the database. POA Name: %0"},
};

// The texts number their placeholders from 0 without a gap.
std::size_t placeholders(const std::string& text) {
  return static_cast<std::size_t>(std::count(text.begin(), text.end(), '%'));
}

}  // namespace

const std::vector<KnownMessage>& known_messages() {
  return all;
}

void expect_known(const support::Event& event) {
  SCOPED_TRACE("event " + std::to_string(event.id) + ": " + event.message);
  ASSERT_LT(event.id, all.size());
  const KnownMessage& known = all[event.id];
  ASSERT_NE(known.priority, 0u) << "is never reported";
  EXPECT_EQ(event.priority, known.priority);
  EXPECT_EQ(event.parameters.size(), placeholders(known.text));
  std::string message = poalocd::substitute(known.text, event.parameters);
  // The log shows no line ends behind a message.
  message.erase(message.find_last_not_of('\n') + 1);
  EXPECT_EQ(event.message, message);
}
