# The packages a user installs, made by CPack from this build (`cpack` in the
# build folder; tools/build-packages.sh makes them all):
#
#   Windows x64:  StutterQuirk-<version>-Win64.zip        the bundle folder
#                 StutterQuirk-<version>-Win64-setup.exe  installs it into
#                                                         C:\Program Files\Common Files\OFX\Plugins
#   Linux x86-64: StutterQuirk-<version>-Linux-x86-64.tar.gz  the bundle folder
#                 stutterquirk_<version>-1_amd64.deb          /usr/OFX/Plugins, and
#                                                             ofx-render and ofx-inspect in /usr/bin
#
# Each holds the README's user part, the licence and the user guide. What goes where is told
# by install components: "plugin" (the bundle in the hosts' folder), "tools"
# and "docs" (the Debian package), and "archive" (the bundle folder with the
# two texts beside it: the zip, the tar.gz and what the installer unpacks),
# which `cmake --install` leaves out.

if(WIN32)
    set(SQ_PACKAGE_PLATFORM "Win64")
else()
    set(SQ_PACKAGE_PLATFORM "Linux-x86-64")
endif()
set(SQ_PACKAGE_NAME "StutterQuirk-${PROJECT_VERSION}-${SQ_PACKAGE_PLATFORM}")
set(SQ_DEB_DOC_DIR "${CMAKE_INSTALL_DATAROOTDIR}/doc/stutterquirk")

# --- the texts: the README up to the end of its user part, and the licence --
set(SQ_README_END "<!-- end of the user part -->")
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS
    "${PROJECT_SOURCE_DIR}/README.md" "${PROJECT_SOURCE_DIR}/LICENSE.txt")
file(READ "${PROJECT_SOURCE_DIR}/README.md" readme)
string(FIND "${readme}" "${SQ_README_END}" end)
if(end LESS 0)
    message(FATAL_ERROR "README.md has no '${SQ_README_END}' line: packages carry the part before it")
endif()
string(SUBSTRING "${readme}" 0 ${end} readme)
string(STRIP "${readme}" readme)
file(READ "${PROJECT_SOURCE_DIR}/LICENSE.txt" licence)
string(STRIP "${licence}" licence)

# Written only when changed, so that packages are not remade for nothing.
function(sq_write_text path text)
    if(WIN32)
        string(REPLACE "\n" "\r\n" text "${text}")
        set(text "${text}\r\n")
    else()
        set(text "${text}\n")
    endif()
    set(old "")
    if(EXISTS "${path}")
        file(READ "${path}" old)
    endif()
    if(NOT old STREQUAL text)
        file(WRITE "${path}" "${text}")
    endif()
endfunction()
set(SQ_PACKAGING_DIR "${CMAKE_BINARY_DIR}/packaging")
sq_write_text("${SQ_PACKAGING_DIR}/README.txt" "${readme}")
sq_write_text("${SQ_PACKAGING_DIR}/LICENSE.txt" "${licence}")
# Debian keeps a package's licence in its documentation folder as "copyright".
sq_write_text("${SQ_PACKAGING_DIR}/copyright" "${licence}")

# --- install rules beyond the bundle's own ("plugin") -----------------------
install(TARGETS StutterQuirk DESTINATION "StutterQuirk.ofx.bundle/Contents/${SQ_OFX_ARCH}"
    COMPONENT archive EXCLUDE_FROM_ALL)
install(FILES "${SQ_PACKAGING_DIR}/README.txt" "${SQ_PACKAGING_DIR}/LICENSE.txt"
    DESTINATION . COMPONENT archive EXCLUDE_FROM_ALL)
# The user guide with its pictures, in docs/ beside the README as in this
# repository, so that the README's link to it holds in every package.
install(FILES "${PROJECT_SOURCE_DIR}/docs/user-guide.md"
    DESTINATION docs COMPONENT archive EXCLUDE_FROM_ALL)
install(DIRECTORY "${PROJECT_SOURCE_DIR}/docs/images"
    DESTINATION docs COMPONENT archive EXCLUDE_FROM_ALL FILES_MATCHING PATTERN "*.png")
if(NOT WIN32)
    install(FILES "${SQ_PACKAGING_DIR}/README.txt" "${SQ_PACKAGING_DIR}/copyright"
        DESTINATION "${SQ_DEB_DOC_DIR}" COMPONENT docs)
    install(FILES "${PROJECT_SOURCE_DIR}/docs/user-guide.md"
        DESTINATION "${SQ_DEB_DOC_DIR}/docs" COMPONENT docs)
    install(DIRECTORY "${PROJECT_SOURCE_DIR}/docs/images"
        DESTINATION "${SQ_DEB_DOC_DIR}/docs" COMPONENT docs FILES_MATCHING PATTERN "*.png")
endif()

# --- CPack ----------------------------------------------------------------
set(CPACK_PACKAGE_NAME "StutterQuirk")
set(CPACK_PACKAGE_VENDOR "${SQ_VENDOR}")
set(CPACK_PACKAGE_CONTACT "${SQ_VENDOR}")
set(CPACK_PACKAGE_VERSION "${PROJECT_VERSION}")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Stutter Quirk, a flicker effect for OpenFX hosts")
set(CPACK_RESOURCE_FILE_LICENSE "${SQ_PACKAGING_DIR}/LICENSE.txt")
set(CPACK_PACKAGE_DIRECTORY "${CMAKE_BINARY_DIR}/packages")
set(CPACK_STRIP_FILES ON)
set(CPACK_PROJECT_CONFIG_FILE "${SQ_PACKAGING_DIR}/CPackOptions.cmake")
set(CPACK_SOURCE_GENERATOR "")
if(WIN32)
    set(CPACK_GENERATOR "ZIP;NSIS")
else()
    set(CPACK_GENERATOR "TGZ;DEB")
endif()

# NSIS: our own script (cmake/packaging/NSIS.template.in); the bundle goes
# to the hosts' folder, the texts and the uninstaller to one of our own.
set(CPACK_MODULE_PATH "${PROJECT_SOURCE_DIR}/cmake/packaging")
set(CPACK_NSIS_PACKAGE_NAME "Stutter Quirk ${PROJECT_VERSION}")
set(CPACK_NSIS_DISPLAY_NAME "Stutter Quirk ${PROJECT_VERSION} (OpenFX plug-in)")
set(CPACK_PACKAGE_INSTALL_REGISTRY_KEY "${SQ_VENDOR} StutterQuirk")
set(CPACK_PACKAGE_INSTALL_DIRECTORY "${SQ_VENDOR}\\\\Stutter Quirk")
set(CPACK_SQ_BUNDLE "StutterQuirk.ofx.bundle")

# Debian: named and versioned as Debian names packages; the dependencies are
# read from the binaries (libc and libstdc++ for the plug-in, OpenImageIO for
# the tools).
set(CPACK_DEBIAN_PACKAGE_NAME "stutterquirk")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SECTION "graphics")
set(CPACK_DEBIAN_PACKAGE_PRIORITY "optional")
# (CPack puts the summary first.)
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION "Stutter Quirk makes footage flicker: on stretches show the source
through a soft mask of its own bright areas, off stretches of random length
are transparent. The plug-in goes to /usr/OFX/Plugins, where OpenFX hosts
look; ofx-render applies it (or any OpenFX effect) to image sequences from the
command line, and ofx-inspect shows what a host sees in a plug-in.")

# `cpack` installs what is built; it does not build everything first (the
# tests are no part of a package). tools/build-packages.sh builds what goes in.
set(CMAKE_SKIP_INSTALL_ALL_DEPENDENCY ON)

configure_file("${PROJECT_SOURCE_DIR}/cmake/packaging/CPackOptions.cmake.in"
    "${SQ_PACKAGING_DIR}/CPackOptions.cmake" @ONLY)
include(CPack)
