// A library that needs a later host.
#include "platform/base/qz_shlib_init.h"

namespace {
const QZ_Shlib_Dependency DEPENDENCIES[] = {{"qz_poa", "4", 0x201}, {nullptr, nullptr, 0}};
const QZ_Shlib_Init INIT("test_plugin_demanding", "3", DEPENDENCIES, QZ_global_exception_handler());
}  // namespace
