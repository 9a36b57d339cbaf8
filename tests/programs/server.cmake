# The server and the standalone engine.

add_library(server_support STATIC server_support.cpp)
target_include_directories(server_support PUBLIC ${CMAKE_CURRENT_SOURCE_DIR})
target_link_libraries(server_support PUBLIC ipseccfg PRIVATE ipseccfg_build)

ipseccfg_test(server
    SOURCES server_answer.cpp server_configuration.cpp server_request.cpp server_setting_folder.cpp
            server_engine_process.cpp server_settings.cpp server_undo.cpp
    LIBRARIES ipseccfg_server ipseccfg_standalone server_support)

# The program's own openat, write, renameat... stand in for libc's.
ipseccfg_test(server_faults
    SOURCES server_disk.cpp server_faults.cpp
    LIBRARIES ipseccfg_server server_support)

# Both at once, and the memory: a program of its own, as it counts and fails the allocations of all of it.
ipseccfg_test(server_exchange_faults
    SOURCES server_disk.cpp server_host.cpp server_exchange_faults.cpp
    LIBRARIES ipseccfg_server server_support failing_heap ${CMAKE_DL_LIBS})
if(TARGET failing_expat)
    target_link_libraries(server_exchange_faults PRIVATE failing_expat)
endif()

# The program's own system, kill, sleep... stand in for libc's.
ipseccfg_test(server_host
    SOURCES server_host.cpp server_carry_out.cpp server_start.cpp server_modules.cpp server_restart.cpp server_shutdown.cpp
            server_exchange.cpp
    LIBRARIES ipseccfg_server server_support ${CMAKE_DL_LIBS})

# Loaded into a program before its other libraries.
add_library(syslog_capture MODULE syslog_capture.cpp)
# It is loaded into programs that have no sanitizer.
if(NOT IPSECCFG_SANITIZERS)
    target_link_libraries(syslog_capture PRIVATE ipseccfg_build)
endif()

ipseccfg_test(standalone_engine
    SOURCES standalone_settings.cpp standalone_process.cpp
    LIBRARIES ipseccfg_standalone server_support
    DEFINITIONS STANDALONE="$<TARGET_FILE:standalone>" SYSLOG_CAPTURE_LIBRARY="$<TARGET_FILE:syslog_capture>")
add_dependencies(standalone_engine standalone syslog_capture)

# The ready file's name is the same for the whole machine.
ipseccfg_test(server_process
    SOURCES server_process.cpp
    LIBRARIES server_support
    DEFINITIONS SERVER="$<TARGET_FILE:systemdataIPsecCfgServer>" STANDALONE="$<TARGET_FILE:standalone>"
                SYSLOG_CAPTURE_LIBRARY="$<TARGET_FILE:syslog_capture>"
    PROPERTIES RESOURCE_LOCK ready-file)
add_dependencies(server_process systemdataIPsecCfgServer standalone syslog_capture)

# Starts the server with what no friendly caller leaves behind.
add_executable(hostile_caller hostile_caller.cpp)
target_link_libraries(hostile_caller PRIVATE ipseccfg_build)

ipseccfg_test(server_attacks
    SOURCES server_attacks.cpp
    LIBRARIES server_support
    DEFINITIONS SERVER="$<TARGET_FILE:systemdataIPsecCfgServer>" STANDALONE="$<TARGET_FILE:standalone>"
                SYSLOG_CAPTURE_LIBRARY="$<TARGET_FILE:syslog_capture>" HOSTILE_CALLER="$<TARGET_FILE:hostile_caller>"
    PROPERTIES RESOURCE_LOCK ready-file)
add_dependencies(server_attacks systemdataIPsecCfgServer standalone syslog_capture hostile_caller)
