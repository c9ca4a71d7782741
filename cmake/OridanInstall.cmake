# What `cmake --install` puts in place, and the library for programs that link instead of loading the module.
# Everything can be moved together afterwards: nothing installed holds an absolute path.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(package OridanArtifactRemoval)
set(package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/${package}")
set(module_dir "${CMAKE_INSTALL_LIBDIR}/oridan")

# The linked library: the module's own objects without its plug-in part. Functions call each other inside
# (-Bsymbolic-functions); variables must stay open to the linker, or a program would set another g_dim than the library
# reads. Unlike the module it keeps its fmin to itself: in a linked program it would replace everybody's.
add_library(oridan SHARED)
target_link_libraries(oridan PRIVATE oridan_fileio oridan_stats oridan_numerics oridan_flags)
target_link_options(oridan PRIVATE
  LINKER:-Bsymbolic-functions $<$<CONFIG:Release>:LINKER:-z,defs> LINKER:-z,now LINKER:-z,relro
  LINKER:--version-script=${CMAKE_CURRENT_LIST_DIR}/linked_library.map)
set_target_properties(oridan PROPERTIES
  VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR}
  LINKER_LANGUAGE CXX LIBRARY_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}"
  LINK_DEPENDS "${CMAKE_CURRENT_LIST_DIR}/linked_library.map")
target_include_directories(oridan INTERFACE "$<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>")
target_compile_features(oridan INTERFACE cxx_std_17)

install(TARGETS oridan EXPORT ${package}Targets LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}")
install(TARGETS OridanArtifactRemoval LIBRARY DESTINATION "${module_dir}")

install(TARGETS workbench ctc RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}")

# The workbench holds the library's objects, fmin among them. What a program defines comes before the shared libraries':
# OpenBLAS would get our fmin. The script keeps it inside.
target_link_options(workbench PRIVATE LINKER:--version-script=${CMAKE_CURRENT_LIST_DIR}/own_fmin.map)
set_property(TARGET workbench APPEND PROPERTY LINK_DEPENDS "${CMAKE_CURRENT_LIST_DIR}/own_fmin.map")

file(STRINGS "${CMAKE_CURRENT_LIST_DIR}/public_headers.txt" public_headers)
list(TRANSFORM public_headers PREPEND "${CMAKE_SOURCE_DIR}/")
set(copied_headers "${CMAKE_BINARY_DIR}/include/oridan")
add_custom_command(OUTPUT "${CMAKE_BINARY_DIR}/include/copied"
  COMMAND "${CMAKE_COMMAND}" -DSOURCE=${CMAKE_SOURCE_DIR} -DDESTINATION=${copied_headers}
          -P "${CMAKE_CURRENT_LIST_DIR}/CopyPublicHeaders.cmake"
  COMMAND "${CMAKE_COMMAND}" -E touch "${CMAKE_BINARY_DIR}/include/copied"
  DEPENDS ${public_headers} "${CMAKE_CURRENT_LIST_DIR}/public_headers.txt"
          "${CMAKE_CURRENT_LIST_DIR}/CopyPublicHeaders.cmake"
  VERBATIM)
add_custom_target(public_headers ALL DEPENDS "${CMAKE_BINARY_DIR}/include/copied")
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${CMAKE_CURRENT_LIST_DIR}/public_headers.txt")
install(DIRECTORY "${copied_headers}" DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}")

# find_package(OridanArtifactRemoval)
set(MODULE_PATH "${module_dir}/OridanArtifactRemoval.so")
configure_package_config_file("${CMAKE_CURRENT_LIST_DIR}/${package}Config.cmake.in"
  "${CMAKE_BINARY_DIR}/${package}Config.cmake" INSTALL_DESTINATION "${package_dir}" PATH_VARS MODULE_PATH)
write_basic_package_version_file("${CMAKE_BINARY_DIR}/${package}ConfigVersion.cmake" COMPATIBILITY SameMinorVersion)
install(EXPORT ${package}Targets NAMESPACE ${package}:: DESTINATION "${package_dir}")
install(FILES "${CMAKE_BINARY_DIR}/${package}Config.cmake" "${CMAKE_BINARY_DIR}/${package}ConfigVersion.cmake"
  DESTINATION "${package_dir}")

# pkg-config oridan
set(pkgconfig_dir "${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig")
foreach(folder PREFIX LIBDIR INCLUDEDIR)
  set(full "${CMAKE_INSTALL_FULL_${folder}}")
  if(folder STREQUAL PREFIX)
    set(full "${CMAKE_INSTALL_PREFIX}")
  endif()
  file(RELATIVE_PATH PC_${folder} "${pkgconfig_dir}" "${full}")
  string(REGEX REPLACE "/$" "" PC_${folder} "${PC_${folder}}")
endforeach()
configure_file("${CMAKE_CURRENT_LIST_DIR}/oridan.pc.in" "${CMAKE_BINARY_DIR}/oridan.pc" @ONLY)
install(FILES "${CMAKE_BINARY_DIR}/oridan.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")

# The reference manual: `cmake --build BUILD --target manual`, then install.
add_custom_target(manual COMMAND "${CMAKE_SOURCE_DIR}/scripts/manual.sh" "${CMAKE_BINARY_DIR}" USES_TERMINAL)

install(FILES README.md CHANGELOG.md DESTINATION "${CMAKE_INSTALL_DOCDIR}")
install(DIRECTORY docs/ DESTINATION "${CMAKE_INSTALL_DOCDIR}/docs" FILES_MATCHING PATTERN "*.md")
install(FILES examples/README.md examples/CMakeLists.txt examples/spectrum.cpp DESTINATION "${CMAKE_INSTALL_DOCDIR}/examples")
install(DIRECTORY "${CMAKE_BINARY_DIR}/manual/html/" DESTINATION "${CMAKE_INSTALL_DOCDIR}/manual" OPTIONAL)
