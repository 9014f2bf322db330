# The Debian packages that Build/make-packages makes, one for each component of install(). Each
# example is a component of its own, and they all go into one package.
set(HEARTHD_MAINTAINER "hearthd <hearthd@packages.invalid>" CACHE STRING
    "Who answers for the Debian packages: name and address, as Debian writes them")
set(HEARTHD_PACKAGE_REVISION 1 CACHE STRING "Tells Debian packages of one version apart")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "") # each package has its own
set(CPACK_STRIP_FILES ON)
set(CPACK_SET_DESTDIR ON) # the daemon's folders are absolute
set(CPACK_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE ${HEARTHD_PACKAGE_REVISION})
set(CPACK_DEBIAN_PACKAGE_MAINTAINER ${HEARTHD_MAINTAINER})
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
# Libraries of the packages themselves, which no other package brings.
file(GLOB own_libraries LIST_DIRECTORIES ON ${PROJECT_BINARY_DIR}/Platform/*)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${own_libraries} ${PROJECT_BINARY_DIR}/Client
    ${PROJECT_BINARY_DIR}/Testing)

# What Debian wants of every package and install() doesn't bring.
set(debian ${PROJECT_SOURCE_DIR}/Build/packaging/debian)
configure_file(${CMAKE_CURRENT_LIST_DIR}/HearthdPackageFiles.cmake.in HearthdPackageFiles.cmake
    @ONLY)
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_CURRENT_BINARY_DIR}/HearthdPackageFiles.cmake)

# hearthd_package(<component> SUMMARY <line> TEXT <paragraph> SECTION <of Debian's>
#     [DEPENDS <package>...] [RECOMMENDS <package>...] [SUGGESTS <package>...] [SCRIPTS <file>...])
#
# Depends on the libraries that are used, too.
macro(hearthd_package name)
    cmake_parse_arguments(arg "" "SUMMARY;TEXT;SECTION" "DEPENDS;RECOMMENDS;SUGGESTS;SCRIPTS"
        ${ARGN})
    string(TOUPPER CPACK_DEBIAN_${name} about)
    set(${about}_PACKAGE_NAME ${name})
    set(${about}_DESCRIPTION "${arg_SUMMARY}\n${arg_TEXT}")
    set(${about}_PACKAGE_SECTION ${arg_SECTION})
    list(JOIN arg_DEPENDS ", " ${about}_PACKAGE_DEPENDS)
    list(JOIN arg_RECOMMENDS ", " ${about}_PACKAGE_RECOMMENDS)
    list(JOIN arg_SUGGESTS ", " ${about}_PACKAGE_SUGGESTS)
    set(${about}_PACKAGE_CONTROL_EXTRA ${arg_SCRIPTS})
    list(APPEND packages ${name})
endmacro()

set(daemon "hearthd (= ${PROJECT_VERSION}-${HEARTHD_PACKAGE_REVISION})")
hearthd_package(hearthd SECTION misc
    SUMMARY "host of services that are shared libraries"
    TEXT
"A daemon for televisions. It loads services into its own process, starts
them in the order of their priorities, each on a worker thread of its own,
and is their one door to the device: calls and notifications over D-Bus,
keys, the television's events and the configuration."
    DEPENDS dbus "init-system-helpers (>= 1.52)"
    SUGGESTS hearthctl hearthd-examples
    SCRIPTS ${debian}/postinst ${debian}/prerm ${debian}/postrm)
hearthd_package(hearthd-dev SECTION libdevel
    SUMMARY "headers and templates for services of hearthd"
    TEXT
"What services that hearthd hosts are built against: headers, a CMake
package, a pkg-config file, a kit for their tests, and the templates of
'hearthctl new'."
    DEPENDS ${daemon} libboost-dev libglib2.0-dev libjsoncpp-dev pkg-config
    RECOMMENDS cmake g++ hearthctl libgtest-dev)
hearthd_package(hearthctl SECTION utils
    SUMMARY "hearthd's client for people and scripts"
    TEXT
"Lists, starts and stops the services of hearthd, calls them, shows their
notifications and the stacks of the daemon's threads, checks manifests, and
makes the projects of new services."
    DEPENDS ${daemon}
    SUGGESTS hearthd-dev)
hearthd_package(hearthd-examples SECTION misc
    SUMMARY "services for hearthd to begin with"
    TEXT
"Small services that show calls, notifications, keys, configuration and the
television's events, and clients in C++, Python and shell. The services
start with the daemon."
    DEPENDS ${daemon}
    SUGGESTS dbus-bin jq python3-jeepney)

set(CPACK_COMPONENTS_GROUPING ONE_PER_GROUP)
include(CPack)
include(CPackComponent)
foreach(package IN LISTS packages)
    cpack_add_component_group(${package})
    cpack_add_component(${package} GROUP ${package})
endforeach()
get_property(folders DIRECTORY Examples PROPERTY SUBDIRECTORIES)
foreach(folder IN LISTS folders)
    get_property(targets DIRECTORY ${folder} PROPERTY BUILDSYSTEM_TARGETS)
    foreach(target IN LISTS targets)
        cpack_add_component(${target} GROUP hearthd-examples)
    endforeach()
endforeach()
