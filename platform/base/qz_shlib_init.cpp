#include "platform/base/qz_shlib_init.h"

#include <algorithm>
#include <exception>
#include <stdexcept>
#include <utility>

#include "platform/base/qz_mutex.h"

namespace {

// A list that does not end within this many entries has lost its null entry.
constexpr std::size_t MAX_DEPENDENCIES = 64;

struct Declarations {
  QZ_Mutex mutex;
  std::vector<std::pair<const QZ_Shlib_Init*, QZ_Shlib_Descriptor>> list GUARDED_BY(mutex);
};

// Never deleted: libraries withdraw from their static destructors, in no known order.
Declarations& declarations() {
  static auto* const all = new Declarations;
  return *all;
}

QZ_Shlib_Descriptor describe(const char* description, const char* version, const QZ_Shlib_Dependency* dependencies) {
  if (!description || !*description) throw std::invalid_argument("a shared library declares no description");
  if (!version || !*version) throw std::invalid_argument(std::string(description) + " declares no version");
  QZ_Shlib_Descriptor result{description, version, {}};
  for (; dependencies && dependencies->name; ++dependencies) {
    if (result.dependencies.size() == MAX_DEPENDENCIES)
      throw std::invalid_argument(std::string(description) + " declares a dependency list without an end");
    result.dependencies.push_back(
        {dependencies->name, dependencies->version ? dependencies->version : "", dependencies->word});
  }
  return result;
}

}  // namespace

QZ_Shlib_Init::QZ_Shlib_Init(const char* description, const char* version, const QZ_Shlib_Dependency* dependencies,
                             const QZ_ExceptionHandler& handler) noexcept {
  try {
    auto descriptor = describe(description, version, dependencies);
    auto& all = declarations();
    const QZ_MutexLock lock(all.mutex);
    all.list.emplace_back(this, std::move(descriptor));
  } catch (const std::exception& e) {
    if (handler) handler(e.what());
  }
}

QZ_Shlib_Init::~QZ_Shlib_Init() {
  auto& all = declarations();
  const QZ_MutexLock lock(all.mutex);
  std::erase_if(all.list, [this](const auto& entry) { return entry.first == this; });
}

std::vector<QZ_Shlib_Descriptor> QZ_Shlib_Init::declared() {
  auto& all = declarations();
  const QZ_MutexLock lock(all.mutex);
  std::vector<QZ_Shlib_Descriptor> result;
  for (const auto& [owner, descriptor] : all.list) result.push_back(descriptor);
  return result;
}
