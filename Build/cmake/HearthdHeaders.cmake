# The headers of the SDK lie flat under include/hearthd when installed. In the tree the same
# picture is made of links in the build folder, so that an example's <hearthd/Service.h> is the
# line that its reader will write.
set(HEARTHD_HEADER_VIEW ${CMAKE_BINARY_DIR}/include)
file(MAKE_DIRECTORY ${HEARTHD_HEADER_VIEW}/hearthd)

# hearthd_sdk_headers(<file>...): these headers of the calling room belong to the SDK.
function(hearthd_sdk_headers)
    foreach(header IN LISTS ARGN)
        cmake_path(GET header FILENAME name)
        set(link ${HEARTHD_HEADER_VIEW}/hearthd/${name})
        get_property(known GLOBAL PROPERTY HEARTHD_SDK_${name})
        if(known)
            message(FATAL_ERROR "two SDK headers are called ${name}")
        endif()
        set_property(GLOBAL PROPERTY HEARTHD_SDK_${name} ON)
        cmake_path(ABSOLUTE_PATH header BASE_DIRECTORY ${CMAKE_CURRENT_SOURCE_DIR})
        file(CREATE_LINK ${header} ${link} SYMBOLIC)
        install(FILES ${header} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/hearthd
            COMPONENT hearthd-dev)
    endforeach()
endfunction()
