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
    # Through a folder of its own, so that files which come out the same are not touched and nothing is built again.
    set(fresh ${CMAKE_CURRENT_BINARY_DIR}/fresh_${target}_${name})
    set(made ${name}.hh ${name}SK.cc ${name}DynSK.cc)
    list(TRANSFORM made PREPEND ${fresh}/ OUTPUT_VARIABLE made_fresh)
    list(TRANSFORM made PREPEND ${out}/)
    add_custom_command(
      OUTPUT ${made}
      COMMAND ${CMAKE_COMMAND} -E make_directory ${fresh}
      COMMAND ${OMNIIDL} -bcxx -Wba -I${OMNIORB_IDL_DIR} ${include_options} -C${fresh}
              ${CMAKE_CURRENT_SOURCE_DIR}/${file}
      COMMAND ${CMAKE_COMMAND} -E copy_if_different ${made_fresh} ${out}
      DEPENDS ${all_idl})
    list(APPEND sources ${made})
  endforeach()
  add_library(${target} ${kind} ${sources})
  target_include_directories(${target} SYSTEM PUBLIC ${out})
  target_compile_options(${target} PRIVATE -w)
  target_link_libraries(${target} PUBLIC PoaLocator::omniorb)
endfunction()
