# hearthd_add_service(<target> SOURCES <file>...
#     [SERVICE_NAME <name>]            default: <target>
#     [PRIORITY <0..255>]              default: 0; a higher number starts earlier
#     [LAUNCH_TYPE AUTOSTART|LAZY]     default: AUTOSTART
#     [DEPENDENCIES <service>...])
#
# Builds a hosted service and writes its manifest, <target>.json, beside it. `install` puts the
# library and the manifest where the daemon looks for them.
function(hearthd_add_service target)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "SERVICE_NAME;PRIORITY;LAUNCH_TYPE"
        "SOURCES;DEPENDENCIES")
    if(arg_UNPARSED_ARGUMENTS)
        message(FATAL_ERROR "hearthd_add_service(${target}): unknown arguments: "
            "${arg_UNPARSED_ARGUMENTS}")
    endif()
    if(NOT arg_SOURCES)
        message(FATAL_ERROR "hearthd_add_service(${target}): SOURCES is missing")
    endif()
    if(NOT DEFINED arg_SERVICE_NAME)
        set(arg_SERVICE_NAME ${target})
    endif()
    if(NOT DEFINED arg_PRIORITY)
        set(arg_PRIORITY 0)
    endif()
    if(NOT arg_PRIORITY MATCHES "^[0-9]+$" OR arg_PRIORITY GREATER 255)
        message(FATAL_ERROR "hearthd_add_service(${target}): PRIORITY is a number from 0 to 255, "
            "not '${arg_PRIORITY}'")
    endif()
    if(NOT DEFINED arg_LAUNCH_TYPE OR arg_LAUNCH_TYPE STREQUAL "AUTOSTART")
        set(launch_type 0)
    elseif(arg_LAUNCH_TYPE STREQUAL "LAZY")
        set(launch_type 1)
    else()
        message(FATAL_ERROR "hearthd_add_service(${target}): LAUNCH_TYPE is AUTOSTART or LAZY, "
            "not '${arg_LAUNCH_TYPE}'")
    endif()

    add_library(${target} MODULE ${arg_SOURCES})
    target_link_libraries(${target} PRIVATE hearthd::sdk)
    # Names of the host stay undefined here: the daemon's executable provides them at dlopen.
    set_target_properties(${target} PROPERTIES PREFIX lib)

    set(dependencies ${arg_DEPENDENCIES})
    list(TRANSFORM dependencies REPLACE "(.+)" "\"\\1\"")
    list(JOIN dependencies ", " dependencies)
    set(manifest ${CMAKE_CURRENT_BINARY_DIR}/${target}.json)
    file(WRITE ${manifest}.new
"{
    \"${arg_SERVICE_NAME}\": {
        \"lib_path\": \"${HEARTHD_SERVICE_DIR}/lib${target}.so\",
        \"load_type\": 0,
        \"launch_type\": ${launch_type},
        \"priority\": ${arg_PRIORITY},
        \"dependencies\": [${dependencies}]
    }
}
")
    file(COPY_FILE ${manifest}.new ${manifest} ONLY_IF_DIFFERENT)
    install(TARGETS ${target} LIBRARY DESTINATION ${HEARTHD_SERVICE_DIR} COMPONENT ${target})
    install(FILES ${manifest} DESTINATION ${HEARTHD_MANIFEST_DIR} COMPONENT ${target})
endfunction()
