# What users copy from works: the programs in README.md compile and link.
find_package(Python3 COMPONENTS Interpreter)
if(Python3_FOUND)
    set(readme_sources)
    foreach(number 1 2)
        set(source ${CMAKE_CURRENT_BINARY_DIR}/readme_${number}.cpp)
        add_custom_command(OUTPUT ${source}
            COMMAND Python3::Interpreter ${CMAKE_CURRENT_SOURCE_DIR}/readme_program.py
                    ${PROJECT_SOURCE_DIR}/README.md ${number} ${source}
            DEPENDS ${PROJECT_SOURCE_DIR}/README.md readme_program.py)
        add_executable(readme_program_${number} ${source})
        target_link_libraries(readme_program_${number} PRIVATE ipseccfg ipseccfg_build)
    endforeach()
endif()

# The sample configuration is one that the server accepts.
add_test(NAME programs.sample_server_configuration COMMAND systemdataIPsecCfgServer --check-config)
set_tests_properties(programs.sample_server_configuration PROPERTIES
    ENVIRONMENT IPSECCFG_SERVER_CONFIG=${PROJECT_SOURCE_DIR}/programs/server/sample-server.toml
    PASS_REGULAR_EXPRESSION "sample-server.toml: correct")
