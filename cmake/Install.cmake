# What a program that uses the installed libraries finds them by: a CMake package and pkg-config files.
#
# Both name no absolute path, so that the tree may be installed, or moved, anywhere: cmake --install ... --prefix.

include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/ipseccfg)
install(EXPORT ipseccfg NAMESPACE ipseccfg:: FILE ipseccfg-targets.cmake DESTINATION ${package_dir} COMPONENT development)
set(ipseccfg_static_platform OFF)
if(TARGET systemdata-parser AND NOT IPSECCFG_SHARED)
    set(ipseccfg_static_platform ON)
endif()
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/ipseccfg-config.cmake.in
    ${CMAKE_CURRENT_BINARY_DIR}/ipseccfg-config.cmake INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/ipseccfg-config-version.cmake
    COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/ipseccfg-config.cmake ${CMAKE_CURRENT_BINARY_DIR}/ipseccfg-config-version.cmake
        DESTINATION ${package_dir} COMPONENT development)

file(RELATIVE_PATH pc_prefix ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" pc_prefix "${pc_prefix}")

# ipseccfg_pkg_config(NAME DESCRIPTION INCLUDES LIBRARIES REQUIRES REQUIRES_PRIVATE)
function(ipseccfg_pkg_config name description includes libraries requires requires_private)
    configure_file(${PROJECT_SOURCE_DIR}/cmake/pkg-config.pc.in ${CMAKE_CURRENT_BINARY_DIR}/${name}.pc @ONLY)
    install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${name}.pc
            DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
endfunction()

set(own_includes "-I\${includedir}/systemdata")
if(TARGET systemdata-parser)
    ipseccfg_pkg_config(systemdata-parser "Structured messages (XML-RPC)"
        "${own_includes}" "-lsystemdata-parser" "" "expat")
    ipseccfg_pkg_config(systemdata-requester "The request channel to a server process"
        "${own_includes}" "-lsystemdata-requester" "systemdata-parser" "")
    ipseccfg_pkg_config(ipseccfg "${PROJECT_DESCRIPTION}"
        "-I\${includedir}/ipseccfg" "-lipseccfg" "systemdata-parser systemdata-requester" "")
else()
    list(JOIN IPSECCFG_PLATFORM_LIBRARIES " " device_libraries)
    ipseccfg_pkg_config(ipseccfg "${PROJECT_DESCRIPTION}"
        "-I\${includedir}/ipseccfg -I${IPSECCFG_PLATFORM_INCLUDE_DIR}" "-lipseccfg ${device_libraries}" "" "")
endif()
