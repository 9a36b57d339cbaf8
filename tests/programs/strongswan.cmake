# The strongSwan engine: its setting manager, and its wrapper as a process with the real daemon. What needs the daemon is
# skipped by name where it is not installed.

add_library(strongswan_support STATIC strongswan_support.cpp vici_proxy.cpp)
target_include_directories(strongswan_support PUBLIC ${CMAKE_CURRENT_SOURCE_DIR})
target_link_libraries(strongswan_support PUBLIC ipseccfg_server ipseccfg_vici server_support PRIVATE ipseccfg_build)

ipseccfg_test(strongswan_engine
    SOURCES strongswan_settings.cpp strongswan_readback.cpp strongswan_troubles.cpp
    LIBRARIES ipseccfg_strongswan strongswan_support)

# Loaded into the daemon, which has no sanitizer.
add_library(policy_refusal MODULE policy_refusal.cpp)
target_link_libraries(policy_refusal PRIVATE ${CMAKE_DL_LIBS})
if(NOT IPSECCFG_SANITIZERS)
    target_link_libraries(policy_refusal PRIVATE ipseccfg_build)
endif()

# Each test has a network and a ready file of its own.
ipseccfg_test(strongswan_process
    SOURCES strongswan_process.cpp
    LIBRARIES ipseccfg_strongswan strongswan_support
    DEFINITIONS STRONGSWAN="$<TARGET_FILE:strongswan>" SYSLOG_CAPTURE_LIBRARY="$<TARGET_FILE:syslog_capture>"
                POLICY_REFUSAL_LIBRARY="$<TARGET_FILE:policy_refusal>")
add_dependencies(strongswan_process strongswan syslog_capture policy_refusal)

ipseccfg_test(vici
    SOURCES vici_connection.cpp
    LIBRARIES ipseccfg_vici server_support)
