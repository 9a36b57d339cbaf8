# The request channel of the bundled platform, with a server that does what a test tells it to.
if(TARGET systemdata-requester)
    add_executable(requester_server requester_server.cpp)
    target_link_libraries(requester_server PRIVATE ipseccfg_build)
    set(requester_definitions REQUESTER_SERVER="$<TARGET_FILE:requester_server>")

    ipseccfg_test(platform_requester
        SOURCES requester_exchange.cpp requester_start.cpp requester_socket.cpp
        LIBRARIES systemdata::requester
        DEFINITIONS ${requester_definitions})

    ipseccfg_test(platform_requester_faults
        SOURCES requester_faults.cpp
        LIBRARIES systemdata::requester ${CMAKE_DL_LIBS}
        DEFINITIONS ${requester_definitions}
                    $<$<BOOL:${SYSTEMDATA_REQUESTER_HAS_CLOSEFROM}>:SYSTEMDATA_REQUESTER_HAS_CLOSEFROM>)

    # The library's sources once more, so that what they do not export can be reached.
    get_target_property(requester_folder systemdata-requester SOURCE_DIR)
    file(GLOB requester_sources CONFIGURE_DEPENDS ${requester_folder}/*.cpp)
    ipseccfg_test(platform_requester_parts
        SOURCES requester_parts.cpp ${requester_sources}
        LIBRARIES systemdata::parser failing_heap
        DEFINITIONS ${requester_definitions})
    target_include_directories(platform_requester_parts PRIVATE ${requester_folder})

    foreach(test platform_requester platform_requester_faults platform_requester_parts)
        add_dependencies(${test} requester_server)
    endforeach()
endif()
