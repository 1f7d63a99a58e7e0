// Declares the library to the host that loads it, with what it needs of that host.
#include "platform/base/qz_shlib_init.h"

namespace {

constexpr std::uint32_t COMPATIBILITY = 0x201;
constexpr std::uint32_t LAST_DEPENDENCY = 0x10000;

const QZ_Shlib_Dependency dependencies[] = {
    {"qz_app_svc", "3", COMPATIBILITY},
    {"qz_poa_location", "3", COMPATIBILITY},
    {"qz_location", "3", COMPATIBILITY},
    {"qz_location_psk", "3", COMPATIBILITY},
    {"qz_locator_svr", "3", COMPATIBILITY},
    {"qz_pss", "3", COMPATIBILITY},
    {"qz_ots", "3", COMPATIBILITY},
    {"qz_poa", "3", COMPATIBILITY},
    {"qz_bram", "3", COMPATIBILITY},
    {"qz_kolm", "3", COMPATIBILITY | LAST_DEPENDENCY},
    {nullptr, nullptr, 0},
};

const QZ_Shlib_Init init("qz_poa_location_loc", "3", dependencies, QZ_global_exception_handler());

}  // namespace
