# poalocator_sources(VAR folder...): every .cpp of the folders, looked up again at each build.
function(poalocator_sources var)
  set(result)
  foreach(folder ${ARGN})
    file(GLOB found CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/${folder}/*.cpp)
    list(APPEND result ${found})
  endforeach()
  set(${var} ${result} PARENT_SCOPE)
endfunction()

# poalocator_own(target): our own code, with all warnings as errors and includes from the root of the tree.
function(poalocator_own target)
  target_compile_options(${target} PRIVATE ${POALOCATOR_WARNINGS})
  target_include_directories(${target} PUBLIC ${CMAKE_SOURCE_DIR})
endfunction()
