#include "daemon/plugin_loader.h"

#include <dlfcn.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <map>
#include <string_view>

#include "daemon/host_event.h"
#include "platform/base/plugin_manager.h"
#include "platform/base/qz_mutex.h"
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

std::vector<QZ_LocationPlugIn::OALocatorPlugIn*> registered_plugins() {
  const QZ_PlugIn::PlugInManager_var manager = QZ_PlugIn::plugin_manager();
  const QZ_PlugIn::PlugInList_var plugins = manager->list();
  std::vector<QZ_LocationPlugIn::OALocatorPlugIn*> result;
  for (CORBA::ULong i = 0; i < plugins->length(); ++i) {
    const QZ_PlugIn::PlugIn_ptr plugin = plugins.in()[i];
    auto* locator = dynamic_cast<QZ_LocationPlugIn::OALocatorPlugIn*>(plugin);
    if (locator && locator->type() == LOCATOR_PLUGIN_TYPE) result.push_back(locator);
  }
  return result;
}

// What a library brought when it was loaded.
struct Library {
  std::vector<QZ_Shlib_Descriptor> declared;
  std::vector<QZ_LocationPlugIn::OALocatorPlugIn*> plugins;
};

// Of the process, as an earlier host of it may have loaded the library.
const Library& loaded(const std::string& path) {
  static QZ_Mutex mutex;
  static std::map<void*, Library> libraries;
  const QZ_MutexLock lock(mutex);
  const auto declared_before = QZ_Shlib_Init::declared().size();
  const auto plugins_before = registered_plugins().size();
  // Never closed: omniORB keeps pointers to what a library's stubs register.
  void* const handle = ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (!handle) throw PluginError("plug-in library " + path + " cannot be loaded: " + std::string(::dlerror()));
  const auto [entry, first_time] = libraries.try_emplace(handle);
  Library& library = entry->second;
  if (first_time) {
    const auto declared = QZ_Shlib_Init::declared();
    library.declared.assign(declared.begin() + declared_before, declared.end());
    const auto plugins = registered_plugins();
    library.plugins.assign(plugins.begin() + plugins_before, plugins.end());
  }
  return library;
}

}  // namespace

std::vector<QZ_LocationPlugIn::OALocatorPlugIn*> load_plugins(const PluginSettings& settings,
                                                              QZ_Logging::EventLog_ptr log) {
  std::vector<QZ_LocationPlugIn::OALocatorPlugIn*> result;
  for (const auto& name : settings.libraries) {
    const auto path = library_path(settings, name);
    const Library& library = loaded(path);
    if (library.declared.empty())
      throw PluginError("plug-in library " + path + " cannot be used: it does not declare what it is");
    for (const QZ_Shlib_Descriptor& declared : library.declared) {
      check(path, declared);
      report(log, PLUGIN_LOADED_EVENT, {path, declared.description, declared.version});
    }
    const auto before = result.size();
    for (auto* plugin : library.plugins)
      if (std::find(result.begin(), result.end(), plugin) == result.end()) result.push_back(plugin);
    if (result.size() == before)
      throw PluginError("plug-in library " + path + " cannot be used: it brings no locator plug-in");
  }
  return result;
}

}  // namespace poalocd
