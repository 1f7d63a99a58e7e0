# poalocator_idl(TARGET OBJECT|STATIC [INCLUDES dir...] FILES a.idl ...)
# A library of the stubs and skeletons that omniidl makes of the files, in the build folder.
find_program(OMNIIDL omniidl REQUIRED)
set(OMNIORB_IDL_DIR /usr/share/idl/omniORB)

function(poalocator_idl target kind)
  cmake_parse_arguments(IDL "" "" "INCLUDES;FILES" ${ARGN})
  set(out ${CMAKE_CURRENT_BINARY_DIR}/generated)
  file(MAKE_DIRECTORY ${out})
  set(include_options)
  foreach(dir ${CMAKE_CURRENT_SOURCE_DIR} ${IDL_INCLUDES})
    list(APPEND include_options -I${dir})
  endforeach()
  file(GLOB all_idl ${CMAKE_SOURCE_DIR}/platform/idl/*.idl ${CMAKE_SOURCE_DIR}/poa_locator/idl/*.idl)
  set(sources)
  foreach(file ${IDL_FILES})
    get_filename_component(name ${file} NAME_WE)
    add_custom_command(
      OUTPUT ${out}/${name}.hh ${out}/${name}SK.cc ${out}/${name}DynSK.cc
      COMMAND ${OMNIIDL} -bcxx -Wba -I${OMNIORB_IDL_DIR} ${include_options} -C${out} ${CMAKE_CURRENT_SOURCE_DIR}/${file}
      DEPENDS ${all_idl})
    list(APPEND sources ${out}/${name}.hh ${out}/${name}SK.cc ${out}/${name}DynSK.cc)
  endforeach()
  add_library(${target} ${kind} ${sources})
  target_include_directories(${target} SYSTEM PUBLIC ${out})
  target_compile_options(${target} PRIVATE -w)
  target_link_libraries(${target} PUBLIC PoaLocator::omniorb)
endfunction()
