# Somebody else's project (consumer/) comes by the libraries in every way that is promised. Not for a foreign target, nor
# for libraries that need a sanitizer's runtime: the consumer is built by the host's plain compiler.
if(NOT TARGET systemdata-parser OR NOT IPSECCFG_SHARED OR NOT IPSECCFG_BUILD_PROGRAMS OR IPSECCFG_SANITIZERS
   OR CMAKE_CROSSCOMPILING)
    return()
endif()
find_program(PKG_CONFIG NAMES pkg-config pkgconf REQUIRED)
foreach(way installed static add_subdirectory FetchContent)
    add_test(NAME consumer.${way}
             COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/consumer/consumer.sh ${way} ${CMAKE_CURRENT_BINARY_DIR}/consumer/${way})
    set_tests_properties(consumer.${way} PROPERTIES TIMEOUT 900
        ENVIRONMENT "SOURCE=${PROJECT_SOURCE_DIR};BUILD=${PROJECT_BINARY_DIR};VERSION=${PROJECT_VERSION};CXX=${CMAKE_CXX_COMPILER};LAUNCHER=${CMAKE_CXX_COMPILER_LAUNCHER};CMAKE=${CMAKE_COMMAND};PKG_CONFIG=${PKG_CONFIG}")
    if(NOT way STREQUAL "installed")
        set_tests_properties(consumer.${way} PROPERTIES LABELS "consumer;long") # they build the libraries anew
    endif()
endforeach()
