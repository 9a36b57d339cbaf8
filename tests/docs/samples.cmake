# What users copy from the documents works: C++ is compiled and run, TOML is read by the program it is for, shell is parsed and
# its words are looked at. A sample that is not listed here fails.

find_package(Python3 COMPONENTS Interpreter)
if(NOT Python3_FOUND)
    return()
endif()

set(samples_folder ${CMAKE_CURRENT_BINARY_DIR}/samples)
file(GLOB documents CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/README.md ${PROJECT_SOURCE_DIR}/CONTRIBUTING.md
     ${PROJECT_SOURCE_DIR}/docs/*.md)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${documents} ${CMAKE_CURRENT_SOURCE_DIR}/samples.py)
execute_process(COMMAND ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/samples.py ${samples_folder} ${documents}
                OUTPUT_VARIABLE samples COMMAND_ERROR_IS_FATAL ANY)

# sample_program(SAMPLE [HOST]): the sample as a program; with HOST sample_host.cpp stands in for libc.
set(known_samples)
function(sample_program sample)
    cmake_parse_arguments(arg "HOST" "" "" ${ARGN})
    string(MAKE_C_IDENTIFIER sample_${sample} target)
    add_executable(${target} ${samples_folder}/${sample})
    target_link_libraries(${target} PRIVATE ipseccfg ipseccfg_build)
    if(arg_HOST)
        target_sources(${target} PRIVATE sample_host.cpp)
        target_link_libraries(${target} PRIVATE ${CMAKE_DL_LIBS})
    endif()
    list(APPEND known_samples ${sample})
    set(known_samples ${known_samples} PARENT_SCOPE)
    set(program $<TARGET_FILE:${target}> PARENT_SCOPE)
endfunction()

# The clients, against a server that keeps what it is sent and answers success, and one that answers failure.
foreach(sample README.1.cpp writing-a-client.1.cpp)
    sample_program(${sample})
    ipseccfg_docs_test(sample.${sample} ${CMAKE_CURRENT_SOURCE_DIR}/run_client.sh ${program})
endforeach()

# What is said about building such a client. Not with libraries that need a sanitizer's runtime.
if(IPSECCFG_SHARED AND NOT IPSECCFG_SANITIZERS)
    foreach(document README writing-a-client)
        ipseccfg_docs_test(sample.${document}.1.cmake ${CMAKE_CURRENT_SOURCE_DIR}/build_sample.sh ${samples_folder}
                           ${document} ${PROJECT_BINARY_DIR} ${CMAKE_CURRENT_BINARY_DIR}/built/${document})
    endforeach()
endif()

# The servers, for a request as the document of the format has it, on a host that only notes what it is asked to do.
foreach(sample README.2.cpp writing-a-setting-manager.2.cpp)
    sample_program(${sample} HOST)
    ipseccfg_docs_test(sample.${sample} ${CMAKE_CURRENT_SOURCE_DIR}/run_server.sh ${program}
                       ${samples_folder}/wire-format.1.xml ${samples_folder}/wire-format.2.xml)
endforeach()

# The setting manager for this project's server: a test includes it.
list(APPEND known_samples writing-a-setting-manager.1.cpp)
configure_file(${samples_folder}/writing-a-setting-manager.1.cpp ${CMAKE_CURRENT_BINARY_DIR}/ExampleSettingManager.h COPYONLY)
ipseccfg_test(docs_setting_manager
    SOURCES setting_manager.cpp
    LIBRARIES ipseccfg_server server_support
    PROPERTIES LABELS docs)
target_include_directories(docs_setting_manager PRIVATE ${CMAKE_CURRENT_BINARY_DIR})

foreach(sample ${samples})
    if(sample MATCHES "\\.toml$")
        ipseccfg_docs_test(sample.${sample} ${CMAKE_CURRENT_SOURCE_DIR}/read_toml.sh ${samples_folder}/${sample}
                           $<TARGET_FILE:ipseccfgctl> $<TARGET_FILE:systemdataIPsecCfgServer>)
    elseif(sample MATCHES "\\.sh$")
        ipseccfg_docs_test(sample.${sample} ${CMAKE_CURRENT_SOURCE_DIR}/shell_words.py ${samples_folder}/${sample}
                           ${PROJECT_SOURCE_DIR})
    elseif(sample MATCHES "^(wire-format\\..*\\.xml|(README|writing-a-client)\\.1\\.cmake)$")
        # wire_format.cpp has the former, the latter are above.
    elseif(NOT sample IN_LIST known_samples)
        ipseccfg_docs_test(sample.${sample} ${CMAKE_COMMAND} -E cmake_echo_color --red "nothing tests this sample")
        set_tests_properties(docs.sample.${sample} PROPERTIES WILL_FAIL ON)
    endif()
endforeach()
