# The client: its parts, and the program as a process of its own.

find_package(nlohmann_json REQUIRED)

ipseccfg_test(client
    SOURCES client_policy.cpp client_policy_problems.cpp client_values.cpp client_view.cpp
            client_command_line.cpp client_status.cpp client_diff.cpp
    LIBRARIES ipseccfg_client ipseccfg_vici nlohmann_json::nlohmann_json
    DEFINITIONS SAMPLE_POLICY="${PROJECT_SOURCE_DIR}/programs/client/sample-policy.toml")

ipseccfg_test(client_program
    SOURCES client_program.cpp
    LIBRARIES ipseccfg_client nlohmann_json::nlohmann_json util
    DEFINITIONS IPSECCFGCTL="$<TARGET_FILE:ipseccfgctl>" PROJECT_VERSION="${PROJECT_VERSION}")
add_dependencies(client_program ipseccfgctl)
