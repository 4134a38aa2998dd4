# The libraries a host links, made of every module's objects: libgalvix.so.5 (galvix::galvix)
# and libgalvix.a (galvix::galvix_static); their headers, CMake package and pkg-config file.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

configure_file(${PROJECT_SOURCE_DIR}/cmake/version.h.in
               ${PROJECT_BINARY_DIR}/include/galvix/version.h @ONLY)

# Every module has added its designers by now.
galvix_link_designers(galvix_reports)

get_property(galvix_objlibs GLOBAL PROPERTY GALVIX_OBJECT_LIBRARIES)
set(galvix_objects)
foreach(l IN LISTS galvix_objlibs)
  list(APPEND galvix_objects $<TARGET_OBJECTS:${l}>)
endforeach()
# What the objects call; a consumer of the static library links them too (the package config
# finds them again).
set(galvix_external_deps PkgConfig::SQLITE3 PkgConfig::MDB PkgConfig::CAIRO PkgConfig::GLIB
                         Threads::Threads)

add_library(galvix_shared SHARED ${galvix_objects})
add_library(galvix_static STATIC ${galvix_objects})
set_target_properties(galvix_shared PROPERTIES OUTPUT_NAME galvix EXPORT_NAME galvix
  VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})
set_target_properties(galvix_static PROPERTIES OUTPUT_NAME galvix EXPORT_NAME galvix_static)
foreach(t galvix_shared galvix_static)
  target_include_directories(${t} PUBLIC
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>
    $<BUILD_INTERFACE:${PROJECT_BINARY_DIR}/include>
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
  target_link_libraries(${t} PRIVATE ${galvix_external_deps})
  target_compile_features(${t} INTERFACE cxx_std_20)
endforeach()
# The same names a consumer of the installed package sees.
add_library(galvix::galvix ALIAS galvix_shared)
add_library(galvix::galvix_static ALIAS galvix_static)

install(TARGETS galvix_shared galvix_static EXPORT GalvixTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
if(TARGET galvix)
  install(TARGETS galvix RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/galvix ${PROJECT_BINARY_DIR}/include/galvix
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} FILES_MATCHING PATTERN "*.h")

set(galvix_cmakedir ${CMAKE_INSTALL_LIBDIR}/cmake/Galvix)
install(EXPORT GalvixTargets NAMESPACE galvix:: DESTINATION ${galvix_cmakedir})
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/GalvixConfig.cmake.in
  ${PROJECT_BINARY_DIR}/GalvixConfig.cmake INSTALL_DESTINATION ${galvix_cmakedir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/GalvixConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/GalvixConfig.cmake ${PROJECT_BINARY_DIR}/GalvixConfigVersion.cmake
        DESTINATION ${galvix_cmakedir})

# pkg-config: relocatable, the prefix found from the .pc file's own folder.
file(RELATIVE_PATH galvix_pc_to_prefix "/prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/prefix")
configure_file(${PROJECT_SOURCE_DIR}/cmake/galvix.pc.in ${PROJECT_BINARY_DIR}/galvix.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/galvix.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
