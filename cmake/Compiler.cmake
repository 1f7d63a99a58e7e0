set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
# A request passes through many small functions of several folders.
set(CMAKE_INTERPROCEDURAL_OPTIMIZATION_RELEASE ON)

# One kind of code for programs and libraries, so that they share precompiled headers.
add_compile_options(-fPIC)

# Generated skeletons of derived local interfaces reach into each other's protected members.
add_compile_options(-fno-access-control)

set(POALOCATOR_SANITIZER "" CACHE STRING "empty, address or thread")
if(POALOCATOR_SANITIZER STREQUAL "address")
  add_compile_options(-fsanitize=address,undefined -fno-omit-frame-pointer -fno-sanitize-recover=undefined
                      -fno-sanitize=vptr)
  add_link_options(-fsanitize=address,undefined)
elseif(POALOCATOR_SANITIZER STREQUAL "thread")
  add_compile_options(-fsanitize=thread -fno-omit-frame-pointer)
  add_link_options(-fsanitize=thread)
endif()
option(POALOCATOR_FUZZER "Link the fuzz targets with libFuzzer; otherwise they replay files" OFF)
if(POALOCATOR_FUZZER)
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()
add_link_options(-fuse-ld=lld)

find_program(CCACHE ccache)
if(CCACHE)
  # Lets ccache look into precompiled headers.
  set(CMAKE_CXX_COMPILER_LAUNCHER ${CMAKE_COMMAND} -E env CCACHE_SLOPPINESS=pch_defines,time_macros ${CCACHE})
  add_compile_options("SHELL:-Xclang -fno-pch-timestamp")
endif()

# Warnings for our own code only; generated code is compiled without them.
set(POALOCATOR_WARNINGS -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Wno-overloaded-virtual
    -Wthread-safety -Wthread-safety-beta -Werror)
