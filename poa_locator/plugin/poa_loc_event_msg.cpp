#include "poa_locator/plugin/poa_loc_event_msg.h"

const char* const ENDPOINT_ALREADY_REGISTERED_MSG =
    "rejecting attempt to register POA which is already registered.\n"
    "POA ID: %0\n"
    "POA Name: %1";
const char* const ENDPOINT_REGISTER_WRONG_TYPE_MSG =
    "rejecting attempt to register POA, it is registered as a namespace in the IMR.\n"
    "POA ID: %0\n"
    "POA Name: %1";
const char* const ENDPOINT_NO_DYNAMIC_REGISTER_MSG =
    "rejecting attempt to register POA, it has no entry in the IMR and its\n"
    "parent does not allow dynamic registration.\n"
    "POA ID: %0\n"
    "POA Name: %1";
const char* const ENDPOINT_NOT_REGISTERED_MSG =
    "attempt to unregister POA that is not registered.\n"
    "POA ID: %0\n"
    "POA Name: %1";
const char* const ENDPOINT_REGISTERED_MSG = "POA registered. POA Name: %0";
const char* const ENDPOINT_UNREGISTERED_MSG = "POA unregistered. POA Name: %0";
const char* const ENDPOINT_STALE_REGISTRATION_MSG =
    "received duplicate POA registration for an POA that is no longer responding, clearing out stale registration and "
    "allowing new registration.\n"
    "POA ID: %0\n"
    "POA Name: %1";
const char* const NAMESPACE_CREATE_MSG = "transient POA entry added to the IMR. POA Name: %0";
const char* const ENDPOINT_CREATE_MSG = "persistent POA entry added to the IMR. POA Name: %0, ORB name: %1";
const char* const NAMESPACE_REMOVE_MSG = "transient POA entry removed from the IMR. POA Name: %0";
const char* const ENDPOINT_ACTIVATOR_REGISTERED_MSG =
    "POA activator registered.\n"
    "ORB name: %0";
const char* const ENDPOINT_ACTIVATOR_UNREGISTERED_MSG =
    "POA activator unregistered.\n"
    "ORB name: %0";
const char* const ENDPOINT_ACTIVATOR_ALREADY_REGISTERED_MSG =
    "POA activator registration rejected, already registered.\n"
    "ORB name: %0";
const char* const ENDPOINT_ACTIVATOR_NOT_REGISTERED_MSG =
    "POA activator unregistration rejected, not registered.\n"
    "ORB name: %0";
const char* const ENDPOINT_ACTIVATOR_STALE_REGISTRATION_MSG =
    "Received duplicate POA activator registration for an activator that\n"
    "is no longer responding, clearing out stale registration and allowing new\n"
    "registration.\n"
    "ORB name: %0";
const char* const ENDPOINT_ACTIVATOR_REG_NO_ORB_MSG =
    "received endpoint activator registration for an ORB name that has no entryin the IMR.\n"
    "ORB name: %0";
const char* const POA_LOC_INTERCEPTOR_EXCEPTION_MSG =
    "POA Locator interceptor received an unknown exception while handling a request.";
const char* const POA_LOC_INTERCEPTOR_SYS_EXCEPTION_MSG =
    "POA Locator interceptor received a system exception while handling a request:\n"
    "%0";
const char* const ENDPOINT_INTERCEPTOR_EXCEPTION_MSG =
    "Endpoint interceptor received an unknow exception while handling a request.";
const char* const ENDPOINT_INTERCEPTOR_SYS_EXCEPTION_MSG =
    "Endpoint interceptor received a system exception while handling a request:\n"
    "%0";
const char* const SERVER_START_MSG = "Starting server process \"%0\" for ORB \"%1\" and POA \"%2\".";
const char* const SERVER_START_FAILURE_MSG =
    "Server start failed for process \"%0\" for ORB \"%1\" and POA \"%2\".\n"
    "%3";
const char* const NO_AUTOMATED_SERVER_START_MSG =
    "Server process for ORB \"%0\" and POA \"%1\" is not configured for process activation.";
const char* const ENDPOINT_NO_ORB_MSG =
    "Server process for POA \"%0\" is a manually started process and not currently running.";
const char* const ENDPOINT_NOT_EXIST_MSG = "No entry in the IMR for POA \"%0\".";
const char* const ENDPOINT_ACTIVATION_FAILURE_MSG = "Failed to activate POA \"%0\".";
const char* const ENDPOINT_ACTIVATION_NON_EXIST_MSG = "Server indicates POA \"%0\" does not exist.";
const char* const ENDPOINT_REGISTER_INVALID_ORB_MSG =
    "Invalid ORB name in POA registration. Received \"%0\", expected \"%1\".\n"
    "POA ID: %2\n"
    "POA Name: %3";
const char* const ENDPOINT_REGISTER_NOT_EXIST_MSG =
    "Failed to register POA, no IMR entry and no IMR entry for the parent.POA ID: %0\n"
    "POA Name: %1";
const char* const ENDPOINT_REGISTER_ORB_NOT_EXIST_MSG =
    "Failed to register POA, no IMR entry exists for ORB name \"%0\".POA ID: %1\n"
    "POA Name: %2";
const char* const ACTIVE_ENDPOINT_DESTROY_MSG = "Active POA removed. POA Name: %0";
const char* const ACTIVE_ENDPOINT_LOAD_MSG = "Loading Active POA from persistent store. POA Name: %0";
const char* const ACTIVE_ENDPOINT_TABLE_INSERT_MSG = "Inserting active POA into active POA table. POA Name: %0";
const char* const ACTIVE_ENDPOINT_TABLE_REMOVE_MSG =
    "Removing active POA from active POA table.\n"
    "POA ID: %0\n"
    "POA Name: %1";
const char* const ACTIVE_ORB_DESTROY_MSG = "Active ORB \"%0\" destroyed and removed from active ORB table.";
const char* const ACTIVE_ORB_ADD_ENDPOINT_MSG =
    "Adding an active POA entry to the list associated with active ORB \"%0\".\n"
    "POA Name: %1";
const char* const ACTIVE_ORB_ADD_ENDPOINT_DUPLICATE_MSG =
    "Rejecting attempt to associate an active POA with the active ORB \"%0\", an entry for the POA already exists.\n"
    "POA Name: %1";
const char* const ACTIVE_ORB_REMOVE_ENDPOINT_MSG =
    "Removing an active POA entry from the list associated with active ORB \"%0\".\n"
    "POA Name: %1";
const char* const ACTIVE_ORB_REMOVE_ENDPOINT_NOT_EXIST_MSG =
    "Rejecting attempt to remove active POA entry from the list associated with active ORB \"%0\", entry does not "
    "exist.\n"
    "POA Name: %1";
const char* const ACTIVE_ORB_LOAD_MSG = "Loading persistent data for POA Active ORB. ORB name: %0";
const char* const ENDPOINT_REMOVE_MSG = "persistent POA entry removed from the IMR. POA Name: %0, ORB name: %1";
const char* const ACTIVE_ENDPOINT_VALID_MSG = "Active POA restored from persistent store is still valid. POA Name: %0";
const char* const ACTIVE_ENDPOINT_INVALID_MSG =
    "Active POA restored from persistent store is no longer valid. POA Name: %0";
const char* const ACTIVE_ORB_VALID_MSG = "Active ORB restored from persistent store is still valid.ORB name: %0";
const char* const ACTIVE_ORB_INVALID_MSG = "Active ORB restored from persistent store is no longer valid.ORB name: %0";
const char* const ACTIVE_ENDPOINT_TABLE_REMOVE_FAILED_MSG =
    "Attempt to remove and entry from the active endpoint table that does not exist.POA ID: %0\n"
    "POA Name: %1";
const char* const ACTIVE_ENDPOINT_DESTROY_NO_PERSIS_DATA_MSG =
    "No persistent data found for an active POA being destroyed. POA Name: %0";
const char* const ACTIVE_ENDPOINT_REMOVE_PERSIS_DATA_FAILED_MSG =
    "A system exception occured while trying to remove persistent data for an active POA. POA Name: %0\n"
    "System Exception: %1";
const char* const ACTIVE_ENDPOINT_NOT_ACTIVE_MSG =
    "Attempt to deactive active POA failed, it is not active.POA ID: %0\n"
    "POA Name: %1\n";
const char* const ACTIVE_ENDPOINT_DEACTIVATE_FAILED_MSG =
    "Attempt to deactivate active POA failed.POA ID: %0\n"
    "POA Name: %1\n"
    "System Exception: %2";
const char* const ACTIVE_ENDPOINT_DESTROY_FAILED_MSG =
    "Attempt to destroy active POA failed with an unknown exception. POA Name: %0\n";
const char* const ACTIVE_ORB_TABLE_REMOVE_FAILED_MSG =
    "Attempt to remove active ORB from table during destruction failed..ORB name: %0\n";
const char* const ACTIVE_ORB_DESTROY_NO_PERSIS_DATA_MSG =
    "Failed to find persistent data for an active ORB that is being destroyed.ORB name: %0\n";
const char* const ACTIVE_ORB_REMOVE_PERSIS_DATA_FAILED_MSG =
    "Failed to remove persistent data for an active ORB being destroyed.ORB name: %0\n"
    "System Exception: %1\n";
const char* const ACTIVE_ORB_NOT_ACTIVE_MSG = "Attempt to deactive active ORB failed, it is not active.ORB name: %0\n";
const char* const ACTIVE_ORB_DEACTIVATE_FAILED_MSG =
    "Attempt to deactive active ORB failed.ORB name: %0\n"
    "System Exception: %1\n";
const char* const ACTIVE_ORB_DESTROY_FAILED_MSG =
    "Attempt to destroy active ORB failed with an unknown exception.ORB name: %0\n";
const char* const ACTIVE_ENDPOINT_LOAD_FAILED_MSG =
    "Failed to load active POA from persistent store.System Exception: %0";
const char* const ENDPOINT_REGISTER_ACTIVE_ENTRY_FAILED_MSG =
    "Failed to create active POA during registration from server.POA ID: %0\n"
    "POA Name: %1\n"
    "System Exception: %2";
const char* const ACTIVE_ENDPOINT_CONSTRUCT_FAILED_MSG =
    "Failed to create active POA.POA ID: %0\n"
    "POA Name: %1\n"
    "System Exception: %2";
const char* const ACTIVE_ENDPOINT_ORB_CONSTRUCT_FAILED_MSG =
    "Failed to construct the active ORB while contructing an active POA.POA ID: %0\n"
    "POA Name: %1\n"
    "System Exception: %2";
const char* const ACTIVE_ORB_INSERT_FAILED_MSG =
    "Failed to add active ORB to active ORB table during active POA contruction.POA ID: %0\n"
    "POA Name: %1\n"
    "System Exception: %2";
const char* const ACTIVE_ENDPOINT_PERSIS_DATA_EXISTS_MSG =
    "Failed to add active POA to persistent store during contruction, persistent data already exists. POA Name: %0\n";
const char* const ACTIVE_ENDPOINT_PERSIS_DATA_FAILED_MSG =
    "Failed to add active POA to persistent store during contruction. POA Name: %0\n";
const char* const ACTIVE_ENDPOINT_INTERCEPTOR_CREATE_MSG =
    "Failed to create interceptor during active POA contruction. POA Name: %0\n"
    "System Exception: %1";
const char* const ACTIVE_ORB_CONSTRUCT_FAILED_MSG =
    "Failed to construct active ORB instance.ORB name: %0\n"
    "System Exception: %1";
const char* const ENDPOINT_ADD_INTERNAL_MSG =
    "Caught an unexpected exception when trying to add a POA IMR entry to the database. POA Name: %0";
