# Installation: what `cmake --install` puts under the prefix, and the Debian
# package cpack makes of it.
#
#   bin/ostra, bin/ostra-studio                  the command line and the Studio
#   <libdir>/libostengine.so.6                   the engine, for applications
#   <libdir>/ostra/                              the libraries of the tools and the
#                                                Studio's package dclostra.so
#   include/ostra/engine/...                     the engine's public headers
#   <libdir>/cmake/Ostra/                        find_package(Ostra), Ostra::Engine
#   <libdir>/pkgconfig/ostra.pc                  pkg-config --cflags --libs ostra
#   <Qt plugins>/sqldrivers/libqsqlostra.so      the QOSTRA Qt SQL driver
#   share/ostra/help                             the dialogs' help topics
#
# Every installed program and library finds the others relative to its own
# place ($ORIGIN), so the installation can move (a .deb unpacked anywhere).
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(OSTRA_PRIVATE_LIBDIR ${CMAKE_INSTALL_LIBDIR}/ostra)
set(OSTRA_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/Ostra)

# $ORIGIN-relative search path from an installed directory to others.
function(ostra_origin_rpath out from)
  set(_paths)
  foreach(_to ${ARGN})
    file(RELATIVE_PATH _rel /ostra-prefix/${from} /ostra-prefix/${_to})
    if(_rel STREQUAL "")
      list(APPEND _paths "$ORIGIN")
    else()
      list(APPEND _paths "$ORIGIN/${_rel}")
    endif()
  endforeach()
  set(${out} "${_paths}" PARENT_SCOPE)
endfunction()

set_target_properties(ostengine PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR} EXPORT_NAME Engine)

ostra_origin_rpath(_bin_rpath ${CMAKE_INSTALL_BINDIR} ${CMAKE_INSTALL_LIBDIR} ${OSTRA_PRIVATE_LIBDIR})
ostra_origin_rpath(_private_rpath ${OSTRA_PRIVATE_LIBDIR} ${OSTRA_PRIVATE_LIBDIR} ${CMAKE_INSTALL_LIBDIR})
set_target_properties(ostra ostra-studio PROPERTIES INSTALL_RPATH "${_bin_rpath}")
set(_ostra_private_libs ostdesigncore ostmigration ostcommon ostdesignintf oststudio)
set_target_properties(${_ostra_private_libs} dclostra PROPERTIES INSTALL_RPATH "${_private_rpath}")

# The Studio looks for its package beside itself (the build tree), else in
# the installed private library folder, relative to bin/.
file(RELATIVE_PATH _package_rel /ostra-prefix/${CMAKE_INSTALL_BINDIR} /ostra-prefix/${OSTRA_PRIVATE_LIBDIR})
target_compile_definitions(oststudio PRIVATE OSTRA_INSTALLED_PACKAGE_DIR="${_package_rel}")

install(TARGETS ostengine EXPORT OstraTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT Runtime NAMELINK_COMPONENT Development)
install(TARGETS ${_ostra_private_libs} dclostra LIBRARY DESTINATION ${OSTRA_PRIVATE_LIBDIR} COMPONENT Runtime)
# QOSTRA goes where Qt looks for SQL drivers under this prefix.
ostra_origin_rpath(_plugin_rpath ${QT6_INSTALL_PLUGINS}/sqldrivers ${CMAKE_INSTALL_LIBDIR})
set_target_properties(qsqlostra PROPERTIES INSTALL_RPATH "${_plugin_rpath}")
install(TARGETS qsqlostra LIBRARY DESTINATION ${QT6_INSTALL_PLUGINS}/sqldrivers COMPONENT Runtime)
install(TARGETS ostra ostra-studio RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT Runtime)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs/help/ DESTINATION ${CMAKE_INSTALL_DATADIR}/ostra/help COMPONENT Runtime)

# The public headers with the one private header they include, in their
# engine/ layout, and the generated version header.
set(_ostra_public_headers ostengine.h ostdatabase.h ostdataset.h ostquery.h ostfielddef.h ostdefs.h ostbatchmove.h
    ostextcomps.h types/osttypes.h)
foreach(_h ${_ostra_public_headers})
  get_filename_component(_d ${_h} DIRECTORY)
  install(FILES ${PROJECT_SOURCE_DIR}/engine/${_h} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/ostra/engine/${_d}
          COMPONENT Development)
endforeach()
install(DIRECTORY ${PROJECT_SOURCE_DIR}/engine/base/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/ostra/engine/base
        COMPONENT Development FILES_MATCHING PATTERN "*.h")
install(FILES ${PROJECT_BINARY_DIR}/include/engine/ostversion.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/ostra/engine
        COMPONENT Development)

# find_package(Ostra): the exported engine and the packages it needs.
install(EXPORT OstraTargets NAMESPACE Ostra:: DESTINATION ${OSTRA_CMAKE_DIR} COMPONENT Development)
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/OstraConfig.cmake.in ${PROJECT_BINARY_DIR}/OstraConfig.cmake
                              INSTALL_DESTINATION ${OSTRA_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/OstraConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/OstraConfig.cmake ${PROJECT_BINARY_DIR}/OstraConfigVersion.cmake
        DESTINATION ${OSTRA_CMAKE_DIR} COMPONENT Development)

# pkg-config: paths relative to the .pc file's own place, like the rest.
file(RELATIVE_PATH _pc_to_prefix /ostra-prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /ostra-prefix)
string(REGEX REPLACE "/$" "" _pc_to_prefix "${_pc_to_prefix}")
set(OSTRA_PC_PREFIX "\${pcfiledir}/${_pc_to_prefix}")
configure_file(${PROJECT_SOURCE_DIR}/cmake/ostra.pc.in ${PROJECT_BINARY_DIR}/ostra.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/ostra.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT Development)

# cpack -G DEB: ostra_<version>_amd64.deb, installed under /usr, its
# dependencies on Debian's Qt, SQLite, ICU and OpenSSL packages found by
# dpkg-shlibdeps from what the binaries link.
set(CPACK_PACKAGE_NAME ostra)
set(CPACK_PACKAGE_VENDOR Ostra)
set(CPACK_PACKAGE_CONTACT "Ostra <ostra@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Ostra database engine, the ostra command line and Ostra Studio")
set(CPACK_PACKAGE_DESCRIPTION "The Ostra engine library for applications (with its headers, CMake package and pkg-config file), the QOSTRA Qt SQL driver, the ostra command line and Ostra Studio, the data module designer with the Ostra design-time package.")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION database)
set(CPACK_DEBIAN_COMPRESSION_TYPE gzip)
find_program(OSTRA_DPKG_SHLIBDEPS dpkg-shlibdeps)
if(OSTRA_DPKG_SHLIBDEPS)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
  # The tools' own libraries are in the package itself.
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/engine ${PROJECT_BINARY_DIR})
else()
  set(CPACK_DEBIAN_PACKAGE_DEPENDS
      "libqt6core6 (>= 6.4), libqt6gui6 (>= 6.4), libqt6widgets6 (>= 6.4), libqt6sql6 (>= 6.4), libqt6svg6 (>= 6.4), libqscintilla2-qt6-15, libsqlite3-0, libicu72, libssl3, libstdc++6, libc6")
endif()
# The fonts and platform plugin the Studio's window needs come with Qt's GUI package.
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "qt6-qpa-plugins")
include(CPack)
