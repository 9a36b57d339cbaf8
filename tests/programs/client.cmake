# The client: its parts, and the program as a process of its own.

find_package(nlohmann_json REQUIRED)

ipseccfg_test(client
    SOURCES client_policy.cpp client_policy_problems.cpp client_values.cpp client_view.cpp
            client_command_line.cpp client_status.cpp client_diff.cpp client_manuals.cpp client_schema.cpp client_terminal.cpp
    LIBRARIES ipseccfg_client ipseccfg_vici nlohmann_json::nlohmann_json
    DEFINITIONS SAMPLE_POLICY="${PROJECT_SOURCE_DIR}/programs/client/sample-policy.toml"
                MANUALS="${PROJECT_BINARY_DIR}/docs/man" SERVER="$<TARGET_FILE:systemdataIPsecCfgServer>"
                VALIDATOR="${CMAKE_CURRENT_SOURCE_DIR}/validate.py"
                SCHEMA="${PROJECT_SOURCE_DIR}/docs/schema/ipseccfgctl-1.schema.json")
add_dependencies(client systemdataIPsecCfgServer)

# What is not installed is skipped by name.
foreach(checker mandoc man)
    add_test(NAME programs.manuals.${checker}
        COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/manuals.sh ${checker} ${PROJECT_BINARY_DIR}/docs/man)
    set_tests_properties(programs.manuals.${checker} PROPERTIES TIMEOUT 60 SKIP_RETURN_CODE 77)
endforeach()

ipseccfg_test(client_program
    SOURCES client_program.cpp
    LIBRARIES ipseccfg_client nlohmann_json::nlohmann_json util
    DEFINITIONS IPSECCFGCTL="$<TARGET_FILE:ipseccfgctl>" PROJECT_VERSION="${PROJECT_VERSION}")
add_dependencies(client_program ipseccfgctl)

foreach(script bash_completion.sh zsh_completion.zsh)
    string(REGEX REPLACE "_.*" "" shell ${script})
    add_test(NAME programs.completion.${shell}
        COMMAND sh -c "command -v ${shell} || { echo skipped: there is no ${shell}; exit 77; }; exec ${shell} \"$@\"" sh
                ${CMAKE_CURRENT_SOURCE_DIR}/${script} ${PROJECT_SOURCE_DIR}/packaging/completions $<TARGET_FILE:ipseccfgctl>)
    set_tests_properties(programs.completion.${shell} PROPERTIES TIMEOUT 60 SKIP_RETURN_CODE 77)
endforeach()
