# What lets models and host programs build against an installed prefix, wherever that lies.
include(CMakePackageConfigHelpers)

set(ORVY_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/ORVYSupport)
configure_package_config_file(cmake/ORVYSupportConfig.cmake.in
  ${PROJECT_BINARY_DIR}/package/ORVYSupportConfig.cmake INSTALL_DESTINATION ${ORVY_PACKAGE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/package/ORVYSupportConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
configure_file(cmake/ORVYSupport.pc.in ${PROJECT_BINARY_DIR}/package/ORVYSupport.pc @ONLY)

install(EXPORT ORVYSupportTargets NAMESPACE ORVY:: DESTINATION ${ORVY_PACKAGE_DIR})
install(FILES
  ${PROJECT_BINARY_DIR}/package/ORVYSupportConfig.cmake
  ${PROJECT_BINARY_DIR}/package/ORVYSupportConfigVersion.cmake
  cmake/plugin.map
  DESTINATION ${ORVY_PACKAGE_DIR})
install(FILES cmake/Targets.cmake DESTINATION ${ORVY_PACKAGE_DIR} RENAME ORVYModels.cmake)
install(FILES ${PROJECT_BINARY_DIR}/package/ORVYSupport.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
