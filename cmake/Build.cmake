# What every target of this project is built with.

# The flags stand on an interface target, not in CMAKE_CXX_FLAGS, so that a project that adds this one keeps its own.
add_library(ipseccfg_build INTERFACE)
target_compile_options(ipseccfg_build INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wcast-qual -Wold-style-cast
    -Wnon-virtual-dtor -Woverloaded-virtual -Wformat=2 -Wundef
    $<$<BOOL:${IPSECCFG_WARNINGS_AS_ERRORS}>:-Werror>
    $<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:-fstack-protector-strong>)

if(IPSECCFG_SANITIZERS)
    target_compile_options(ipseccfg_build INTERFACE
        -fsanitize=${IPSECCFG_SANITIZERS} -fno-sanitize-recover=all -fno-omit-frame-pointer
        # It opens a pipe to look at an object, and tests leave a program without descriptors.
        -fno-sanitize=vptr)
    target_link_options(ipseccfg_build INTERFACE -fsanitize=${IPSECCFG_SANITIZERS} -fno-sanitize=vptr)
endif()

if(IPSECCFG_FUZZ)
    target_compile_options(ipseccfg_build INTERFACE -fsanitize=fuzzer-no-link)
    target_link_options(ipseccfg_build INTERFACE -fsanitize=fuzzer-no-link)
endif()

# Where an installed file of DIR finds the libraries, relative to itself.
function(ipseccfg_installed_rpath target dir)
    file(RELATIVE_PATH to_libraries "${CMAKE_INSTALL_PREFIX}/${dir}" "${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR}")
    string(REGEX REPLACE "/$" "" to_libraries "${to_libraries}")
    set_target_properties(${target} PROPERTIES INSTALL_RPATH "$ORIGIN/${to_libraries}")
endfunction()

# Libraries are shared unless IPSECCFG_SHARED is off.
if(IPSECCFG_SHARED)
    set(IPSECCFG_LIBRARY_TYPE SHARED)
else()
    set(IPSECCFG_LIBRARY_TYPE STATIC)
endif()

# Optimised across source files where that is supported: a tenth smaller and faster. Not in archives, which everybody's
# linker must be able to read.
include(CheckIPOSupported)
check_ipo_supported(RESULT ipseccfg_has_ipo OUTPUT ipseccfg_no_ipo LANGUAGES CXX)

# A library of this project, ipseccfg::EXPORTED to its users. If shared: soname NAME.so.1, only the symbols that MAP names,
# all of them resolved when it is loaded.
function(ipseccfg_library target exported map)
    add_library(ipseccfg::${exported} ALIAS ${target})
    set_target_properties(${target} PROPERTIES
        EXPORT_NAME ${exported}
        POSITION_INDEPENDENT_CODE ON
        VERSION ${PROJECT_VERSION}
        SOVERSION ${PROJECT_VERSION_MAJOR}
        LINK_DEPENDS ${map}
        INSTALL_RPATH "$ORIGIN")
    if(IPSECCFG_SHARED)
        if(ipseccfg_has_ipo AND NOT IPSECCFG_SANITIZERS)
            set_target_properties(${target} PROPERTIES
                INTERPROCEDURAL_OPTIMIZATION_RELEASE ON INTERPROCEDURAL_OPTIMIZATION_MINSIZEREL ON)
        endif()
        # Its own calls of its own functions are settled here, not when it is loaded.
        target_compile_options(${target} PRIVATE -fno-semantic-interposition)
        target_link_options(${target} PRIVATE
            -Wl,--version-script=${map} -Wl,-z,relro -Wl,-z,now -Wl,-Bsymbolic-functions)
        if(NOT IPSECCFG_SANITIZERS)
            target_link_options(${target} PRIVATE -Wl,-z,defs)
        endif()
    endif()
    install(TARGETS ${target} EXPORT ipseccfg
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
endfunction()
