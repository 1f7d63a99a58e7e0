#include "daemon/plugin_loader.h"

#include <dlfcn.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <string_view>

#include "daemon/host_event.h"
#include "platform/base/plugin_manager.h"
#include "platform/base/qz_shlib_init.h"

namespace poalocd {

namespace {

// What this host offers to libraries, all of one version.
constexpr std::array<std::string_view, 10> OFFERED = {
    "qz_app_svc", "qz_poa_location", "qz_location", "qz_location_psk", "qz_locator_svr",
    "qz_pss",     "qz_ots",          "qz_poa",      "qz_bram",         "qz_kolm"};
constexpr std::string_view OFFERED_VERSION = "3";
// Of a dependency's word; the bits above are flags.
constexpr std::uint32_t COMPATIBILITY_MASK = 0xFFFF;
constexpr std::uint32_t OFFERED_COMPATIBILITY = 0x0201;

constexpr CORBA::Long LOCATOR_PLUGIN_TYPE = 1;

std::string library_path(const PluginSettings& settings, const std::string& library) {
  if (library.find('/') != std::string::npos) return library;
  if (!settings.directory.empty()) return (std::filesystem::path(settings.directory) / library).string();
  std::error_code error;
  const auto program = std::filesystem::read_symlink("/proc/self/exe", error);
  return (program.parent_path().parent_path() / "lib" / library).string();
}

void check(const std::string& path, const QZ_Shlib_Descriptor& descriptor) {
  for (const auto& needed : descriptor.dependencies) {
    const bool offered = std::find(OFFERED.begin(), OFFERED.end(), needed.name) != OFFERED.end() &&
                         needed.version == OFFERED_VERSION &&
                         (needed.word & COMPATIBILITY_MASK) == OFFERED_COMPATIBILITY;
    if (!offered)
      throw PluginError("plug-in library " + path + " needs \"" + needed.name + "\" version \"" + needed.version +
                        "\", which this poalocd does not offer; install a library built for it");
  }
}

void load(const std::string& path, QZ_Logging::EventLog_ptr log) {
  // By an earlier host of this process: it has declared itself then.
  const bool loaded_before = ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NOLOAD) != nullptr;
  const auto before = QZ_Shlib_Init::declared().size();
  // Never closed: omniORB keeps pointers to what a library's stubs register.
  if (!::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL))
    throw PluginError("plug-in library " + path + " cannot be loaded: " + std::string(::dlerror()));
  if (loaded_before) return;
  const auto declared = QZ_Shlib_Init::declared();
  if (declared.size() == before)
    throw PluginError("plug-in library " + path + " cannot be used: it does not declare what it is");
  for (std::size_t i = before; i < declared.size(); ++i) {
    check(path, declared[i]);
    report(log, PLUGIN_LOADED_EVENT, {path, declared[i].description, declared[i].version});
  }
}

}  // namespace

std::vector<QZ_LocationPlugIn::OALocatorPlugIn*> load_plugins(const PluginSettings& settings,
                                                              QZ_Logging::EventLog_ptr log) {
  const QZ_PlugIn::PlugInManager_var manager = QZ_PlugIn::plugin_manager();
  std::vector<QZ_LocationPlugIn::OALocatorPlugIn*> result;
  for (const auto& library : settings.libraries) {
    const auto path = library_path(settings, library);
    load(path, log);
    const auto before = result.size();
    const QZ_PlugIn::PlugInList_var plugins = manager->list();
    for (CORBA::ULong i = 0; i < plugins->length(); ++i) {
      const QZ_PlugIn::PlugIn_ptr plugin = plugins.in()[i];
      auto* locator = dynamic_cast<QZ_LocationPlugIn::OALocatorPlugIn*>(plugin);
      const bool known = std::find(result.begin(), result.end(), locator) != result.end();
      if (locator && !known && locator->type() == LOCATOR_PLUGIN_TYPE) result.push_back(locator);
    }
    if (result.size() == before)
      throw PluginError("plug-in library " + path + " cannot be used: it brings no locator plug-in");
  }
  return result;
}

}  // namespace poalocd
