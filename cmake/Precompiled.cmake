# The headers that nearly every file includes, parsed once: with them the build takes a third of the time.
# Files still include what they use, so that the tools can read them alone.
set(POALOCATOR_COMMON_HEADERS
    <omniORB4/CORBA.h> <algorithm> <atomic> <chrono> <condition_variable> <functional> <map> <memory> <mutex> <optional>
    <span> <string> <string_view> <thread> <unordered_map> <utility> <vector>)

# The command line and the tests are not optimised under a sanitizer: there the optimiser takes most of the time of
# their build, for headers that are code themselves, and no time of theirs matters. What they test is optimised.
set(POALOCATOR_BUILT_QUICKLY)
if(POALOCATOR_SANITIZER AND NOT POALOCATOR_FUZZER)
  set(POALOCATOR_BUILT_QUICKLY -O0)
endif()

# poalocator_precompiled(name [OPTIONS option...] [LIBRARIES library...] [HEADERS header...])
function(poalocator_precompiled name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "OPTIONS;LIBRARIES;HEADERS")
  add_library(${name} OBJECT cmake/precompiled.cpp)
  target_link_libraries(${name} PRIVATE PoaLocator::omniorb ${arg_LIBRARIES})
  target_compile_options(${name} PRIVATE ${arg_OPTIONS})
  target_precompile_headers(${name} PRIVATE ${POALOCATOR_COMMON_HEADERS} ${arg_HEADERS})
endfunction()

poalocator_precompiled(precompiled_code)
poalocator_precompiled(precompiled_commands OPTIONS ${POALOCATOR_BUILT_QUICKLY}
                       LIBRARIES CLI11::CLI11 nlohmann_json::nlohmann_json HEADERS <CLI/CLI.hpp> <nlohmann/json.hpp>)
poalocator_precompiled(precompiled_tests OPTIONS ${POALOCATOR_BUILT_QUICKLY}
                       LIBRARIES GTest::gmock nlohmann_json::nlohmann_json
                       HEADERS <gmock/gmock.h> <gtest/gtest.h> <nlohmann/json.hpp> <fstream> <sstream>)
