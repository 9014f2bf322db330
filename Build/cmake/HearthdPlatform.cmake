# The platform libraries. Each is a shared library with a documented header in Platform/<name>/Inc;
# a device build takes headers and libraries from HEARTHD_PLATFORM instead.
#
# hearthd_platform_library(<name> SOURCES <file>... [LIBRARIES <public>...] [PRIVATE_LIBRARIES ...]
#     [SDK_HEADERS <name>...])
function(hearthd_platform_library name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;LIBRARIES;PRIVATE_LIBRARIES;SDK_HEADERS")
    set(headers ${CMAKE_CURRENT_SOURCE_DIR}/Inc)
    if(HEARTHD_PLATFORM STREQUAL "host")
        add_library(${name} SHARED ${arg_SOURCES})
        target_link_libraries(${name} PUBLIC ${arg_LIBRARIES}
            PRIVATE hearthd_settings ${arg_PRIVATE_LIBRARIES})
        target_include_directories(${name}
            PUBLIC $<BUILD_INTERFACE:${CMAKE_CURRENT_SOURCE_DIR}/Inc>
                   $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>
            PRIVATE ${CMAKE_CURRENT_SOURCE_DIR}/Src)
        set_target_properties(${name} PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION 0
            INSTALL_RPATH $ORIGIN)
        # Relative, so that the exported targets are found in a staged tree (DESTDIR) as well.
        cmake_path(RELATIVE_PATH HEARTHD_LIB_DIR BASE_DIRECTORY ${CMAKE_INSTALL_PREFIX}
            OUTPUT_VARIABLE destination)
        install(TARGETS ${name} EXPORT hearthdTargets LIBRARY DESTINATION ${destination}
            NAMELINK_COMPONENT hearthd-dev)
    else()
        cmake_path(ABSOLUTE_PATH HEARTHD_PLATFORM BASE_DIRECTORY ${PROJECT_SOURCE_DIR})
        set(headers ${HEARTHD_PLATFORM}/include)
        find_library(HEARTHD_PLATFORM_${name} NAMES ${name} REQUIRED NO_DEFAULT_PATH
            PATHS ${HEARTHD_PLATFORM}/lib)
        add_library(${name} SHARED IMPORTED GLOBAL)
        set_target_properties(${name} PROPERTIES IMPORTED_LOCATION ${HEARTHD_PLATFORM_${name}})
        target_include_directories(${name} INTERFACE ${HEARTHD_PLATFORM}/include)
        target_link_libraries(${name} INTERFACE ${arg_LIBRARIES})
    endif()
    list(TRANSFORM arg_SDK_HEADERS PREPEND ${headers}/)
    hearthd_sdk_headers(${arg_SDK_HEADERS})
    add_library(hearthd::${name} ALIAS ${name})
endfunction()

# hearthd_install_tool(<name>): the program <name>, with its manual page <name>.1 and its completion
# <name>.bash. It lies in the prefix, and the platform's libraries with the daemon.
function(hearthd_install_tool name)
    cmake_path(RELATIVE_PATH HEARTHD_LIB_DIR BASE_DIRECTORY ${CMAKE_INSTALL_FULL_BINDIR}
        OUTPUT_VARIABLE libraries)
    set_target_properties(${name} PROPERTIES INSTALL_RPATH $ORIGIN/${libraries})
    install(TARGETS ${name} RUNTIME)
    install(FILES ${name}.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
    install(FILES ${name}.bash RENAME ${name}
        DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
endfunction()
