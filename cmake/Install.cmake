# What a user gets with cmake --install: the daemon, the library that a server links, and the IDL for any ORB's
# compiler.
include(GNUInstallDirs)
set_target_properties(poalocd PROPERTIES INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
set_target_properties(qz_poa_location_loc PROPERTIES INSTALL_RPATH "$ORIGIN")
install(TARGETS poalocd poalocator_platform qz_poa_location_loc
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} NAMELINK_SKIP)
install(TARGETS poalocator_omniorb_server poa_server_idl ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(FILES adapters/omniorb/locator_registration.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/adapters/omniorb)
install(DIRECTORY poa_locator/idl/ DESTINATION ${CMAKE_INSTALL_DATADIR}/idl/poalocator FILES_MATCHING PATTERN "*.idl")
install(FILES platform/idl/qz_location_common.idl platform/idl/qz_imr_admin.idl platform/idl/qz_locator_admin.idl
        DESTINATION ${CMAKE_INSTALL_DATADIR}/idl/poalocator)
install(FILES packaging/poalocd.service DESTINATION lib/systemd/system)
