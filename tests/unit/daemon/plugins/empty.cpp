// A proper library that brings no plug-in.
#include "platform/base/qz_shlib_init.h"

namespace {
const QZ_Shlib_Init INIT("test_plugin_empty", "3", nullptr, QZ_global_exception_handler());
}  // namespace
