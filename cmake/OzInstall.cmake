# Installation: the shared library with its SONAME links, the three stand-in platform libraries, the
# public headers, a CMake package (find_package(OzCmcParser CONFIG) gives the imported target
# OzCmcParser::oz_cmc_parser) and a pkg-config file (oz_cmc_parser.pc). Everything is relocatable:
# the libraries find each other through $ORIGIN, the package and the .pc file locate the prefix from
# where they are installed.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(OZ_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/OzCmcParser)

set_target_properties(oz_cmc_parser oz_log oz_kovb oz_nvm PROPERTIES INSTALL_RPATH "$ORIGIN")
install(TARGETS oz_cmc_parser oz_log oz_kovb oz_nvm EXPORT OzCmcParserTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/ ${PROJECT_SOURCE_DIR}/platform/include/
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} FILES_MATCHING PATTERN "*.h")

install(EXPORT OzCmcParserTargets NAMESPACE OzCmcParser:: DESTINATION ${OZ_PACKAGE_DIR})
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/OzCmcParserConfig.cmake.in
    ${PROJECT_BINARY_DIR}/OzCmcParserConfig.cmake INSTALL_DESTINATION ${OZ_PACKAGE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/OzCmcParserConfigVersion.cmake
    VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/OzCmcParserConfig.cmake ${PROJECT_BINARY_DIR}/OzCmcParserConfigVersion.cmake
        DESTINATION ${OZ_PACKAGE_DIR})

# The .pc file finds the prefix relative to its own folder (pkg-config's ${pcfiledir}).
file(RELATIVE_PATH OZ_PC_TO_PREFIX /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
string(REGEX REPLACE "/$" "" OZ_PC_TO_PREFIX "${OZ_PC_TO_PREFIX}")
configure_file(${PROJECT_SOURCE_DIR}/cmake/oz_cmc_parser.pc.in ${PROJECT_BINARY_DIR}/oz_cmc_parser.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/oz_cmc_parser.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
