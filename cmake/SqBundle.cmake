# Builds an OpenFX plug-in as a standard bundle:
#   <name>.ofx.bundle/Contents/<arch>/<name>.ofx
# inside the build tree, and optionally installs the bundle.

if(WIN32)
    set(SQ_OFX_ARCH "Win64")
elseif(APPLE)
    set(SQ_OFX_ARCH "MacOS")
else()
    set(SQ_OFX_ARCH "Linux-x86-64")
endif()

# Where `cmake --install` puts bundles, relative to the install prefix
# (with the prefix /usr on Linux this is the standard /usr/OFX/Plugins).
set(SQ_OFX_INSTALL_DIR "OFX/Plugins" CACHE STRING "Bundle install folder below the prefix")

function(sq_add_ofx_bundle name)
    cmake_parse_arguments(ARG "INSTALL" "OUTPUT_DIRECTORY" "SOURCES;LIBRARIES" ${ARGN})
    if(NOT ARG_OUTPUT_DIRECTORY)
        set(ARG_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR})
    endif()
    set(contents "${ARG_OUTPUT_DIRECTORY}/${name}.ofx.bundle/Contents/${SQ_OFX_ARCH}")
    add_library(${name} MODULE ${ARG_SOURCES})
    target_link_libraries(${name} PRIVATE ${ARG_LIBRARIES})
    sq_target_warnings(${name})
    set_target_properties(${name} PROPERTIES
        PREFIX ""
        SUFFIX ".ofx"
        LIBRARY_OUTPUT_DIRECTORY "${contents}"
        RUNTIME_OUTPUT_DIRECTORY "${contents}")
    foreach(config ${CMAKE_CONFIGURATION_TYPES})
        string(TOUPPER ${config} CONFIG)
        set_target_properties(${name} PROPERTIES
            LIBRARY_OUTPUT_DIRECTORY_${CONFIG} "${contents}"
            RUNTIME_OUTPUT_DIRECTORY_${CONFIG} "${contents}")
    endforeach()
    if(NOT WIN32 AND NOT APPLE)
        # Only the two OpenFX entry points leave the library; the standard
        # library's inline instantiations stay local too.
        target_link_options(${name} PRIVATE
            "-Wl,--version-script=${CMAKE_SOURCE_DIR}/cmake/ofx-exports.map")
        # Every symbol resolved inside the library and the system's, except
        # in a clang sanitizer build: clang links its sanitizer runtimes into
        # the program, which a sanitized plug-in then relies on.
        if(NOT (SQ_SANITIZE AND CMAKE_CXX_COMPILER_ID STREQUAL "Clang"))
            target_link_options(${name} PRIVATE "-Wl,--no-undefined")
        endif()
        set_property(TARGET ${name} APPEND PROPERTY LINK_DEPENDS
            "${CMAKE_SOURCE_DIR}/cmake/ofx-exports.map")
    endif()
    set_property(TARGET ${name} PROPERTY SQ_BUNDLE_CONTENTS "${contents}")
    if(ARG_INSTALL)
        install(TARGETS ${name}
            DESTINATION "${SQ_OFX_INSTALL_DIR}/${name}.ofx.bundle/Contents/${SQ_OFX_ARCH}"
            COMPONENT plugin)
    endif()
endfunction()
