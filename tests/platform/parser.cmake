# Structured messages: the bundled library, not a device's own.
if(NOT TARGET systemdata-parser)
    return()
endif()

ipseccfg_test(platform_parser
    SOURCES parser_values.cpp parser_rendering.cpp parser_reading.cpp parser_streams.cpp parser_hostile.cpp
    LIBRARIES systemdata::parser
    DEFINITIONS DOCUMENT_LIMIT=${IPSECCFG_MAX_DOCUMENT_BYTES})

# A program of its own: it counts and fails the allocations of all of it.
ipseccfg_test(platform_parser_memory
    SOURCES parser_memory.cpp
    LIBRARIES systemdata::parser failing_heap failing_expat
    DEFINITIONS DOCUMENT_LIMIT=${IPSECCFG_MAX_DOCUMENT_BYTES})

add_executable(parser_echo parser_echo.cpp)
target_link_libraries(parser_echo PRIVATE systemdata::parser ipseccfg_build)

find_package(Python3 COMPONENTS Interpreter)
if(Python3_FOUND)
    add_test(NAME platform_parser.Interoperation.WithPythonsXmlRpc
        COMMAND ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/parser_interop.py $<TARGET_FILE:parser_echo>)
    set_tests_properties(platform_parser.Interoperation.WithPythonsXmlRpc PROPERTIES TIMEOUT 600) # under emulation
else()
    add_test(NAME platform_parser.Interoperation.WithPythonsXmlRpc
        COMMAND ${CMAKE_COMMAND} -E echo "skipped: there is no Python 3")
    set_tests_properties(platform_parser.Interoperation.WithPythonsXmlRpc PROPERTIES
        SKIP_REGULAR_EXPRESSION "skipped: there is no Python 3")
endif()

foreach(peer IN ITEMS "PerlsRpcXml perl rpc_xml.pl" "RubysXmlrpc ruby xmlrpc.rb" "PhpsXmlrpc php xmlrpc.php")
    separate_arguments(words UNIX_COMMAND "${peer}")
    list(GET words 0 name)
    list(GET words 1 interpreter)
    list(GET words 2 program)
    set(name platform_parser.Interoperation.With${name})
    add_test(NAME ${name}
        COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/peers/exchange.sh $<TARGET_FILE:parser_echo>
                ${interpreter} ${CMAKE_CURRENT_SOURCE_DIR}/peers/${program})
    set_tests_properties(${name} PROPERTIES TIMEOUT 300 SKIP_RETURN_CODE 77) # under emulation
endforeach()
