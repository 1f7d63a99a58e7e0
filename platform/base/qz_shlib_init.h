// How a shared library that the daemon loads declares itself: one static QZ_Shlib_Init object with what the
// library is and what it needs of its host.
//
//   const QZ_Shlib_Dependency dependencies[] = {{"qz_poa", "3", 0x201}, {nullptr, nullptr, 0}};
//   const QZ_Shlib_Init init("qz_example", "3", dependencies, QZ_global_exception_handler());
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/base/qz_thread.h"

// One service that a library needs. word: compatibility in the low 16 bits, flags above.
struct QZ_Shlib_Dependency {
  const char* name;
  const char* version;
  std::uint32_t word;
};

// What a loaded library declared, copied out of it.
struct QZ_Shlib_Descriptor {
  struct Dependency {
    std::string name;
    std::string version;
    std::uint32_t word;
  };
  std::string description;
  std::string version;
  std::vector<Dependency> dependencies;
};

class QZ_Shlib_Init {
 public:
  // dependencies ends with an entry whose name is null; may itself be null for none. Nothing is thrown: this runs
  // while a library is loaded. What goes wrong is told to the handler, and the library stays undeclared.
  QZ_Shlib_Init(const char* description, const char* version, const QZ_Shlib_Dependency* dependencies,
                const QZ_ExceptionHandler& handler) noexcept;
  // Withdraws the declaration.
  ~QZ_Shlib_Init();
  QZ_Shlib_Init(const QZ_Shlib_Init&) = delete;
  QZ_Shlib_Init& operator=(const QZ_Shlib_Init&) = delete;

  // Every library declared at present, in the order of declaration. Safe from any thread.
  static std::vector<QZ_Shlib_Descriptor> declared();
};
