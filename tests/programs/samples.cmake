# The way over a socket: the real programs behind what listens on a device. What is not installed is skipped by name.
foreach(listener socat systemd-socket-activate)
    add_test(NAME programs.socket.${listener}
        COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/socket_way.sh ${listener} $<TARGET_FILE:ipseccfgctl>
                $<TARGET_FILE:systemdataIPsecCfgServer> $<TARGET_FILE:standalone>)
    set_tests_properties(programs.socket.${listener} PROPERTIES TIMEOUT 300 RESOURCE_LOCK ready-file
        SKIP_RETURN_CODE 77)
endforeach()
add_test(NAME programs.socket.units
    COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/units.sh ${PROJECT_SOURCE_DIR}/packaging/systemd ${PROJECT_BINARY_DIR}/packaging)
set_tests_properties(programs.socket.units PROPERTIES TIMEOUT 120 SKIP_RETURN_CODE 77)

# The sample configuration is one that the server accepts.
add_test(NAME programs.sample_server_configuration COMMAND systemdataIPsecCfgServer --check-config)
set_tests_properties(programs.sample_server_configuration PROPERTIES
    ENVIRONMENT IPSECCFG_SERVER_CONFIG=${PROJECT_SOURCE_DIR}/programs/server/sample-server.toml
    PASS_REGULAR_EXPRESSION "sample-server.toml: correct")
