# Manual pages and completion, made by the programs themselves and installed with them; and `cpack` in the build folder,
# which makes a package for Debian and an archive for other systems.

# Compressed, as Debian keeps them.
set(pages "${CMAKE_BINARY_DIR}/man")
add_custom_command(OUTPUT "${pages}/made"
  COMMAND "${CMAKE_COMMAND}" -E rm -rf "${pages}"
  COMMAND "${CMAKE_COMMAND}" -E make_directory "${pages}"
  COMMAND workbench manual "${pages}"
  COMMAND ctc manual "${pages}"
  COMMAND sh -c "gzip -9n \"$1\"/*.1" sh "${pages}"
  COMMAND "${CMAKE_COMMAND}" -E touch "${pages}/made"
  DEPENDS workbench ctc COMMENT "Writing the manual pages" VERBATIM)
set(made "${pages}/made")
install(DIRECTORY "${pages}/" DESTINATION "${CMAKE_INSTALL_MANDIR}/man1" FILES_MATCHING PATTERN "*.1.gz")

# completion_script(PROGRAM SHELL FILE FOLDER)
function(completion_script program shell file folder)
  set(script "${CMAKE_BINARY_DIR}/completion/${shell}/${file}")
  add_custom_command(OUTPUT "${script}"
    COMMAND "${CMAKE_COMMAND}" -E make_directory "${CMAKE_BINARY_DIR}/completion/${shell}"
    COMMAND sh -c "\"$1\" completion ${shell} >\"$2\"" sh "$<TARGET_FILE:${program}>" "${script}"
    DEPENDS ${program} VERBATIM)
  install(FILES "${script}" DESTINATION "${CMAKE_INSTALL_DATADIR}/${folder}")
  set(made ${made} "${script}" PARENT_SCOPE)
endfunction()
foreach(program workbench ctc)
  completion_script(${program} bash ${program} bash-completion/completions)
  completion_script(${program} zsh _${program} zsh/vendor-completions)
  completion_script(${program} fish ${program}.fish fish/vendor_completions.d)
endforeach()
add_custom_target(manual_pages_and_completion ALL DEPENDS ${made})

install(DIRECTORY docs/pictures DESTINATION "${CMAKE_INSTALL_DOCDIR}/docs" FILES_MATCHING PATTERN "*.png")
install(DIRECTORY workflow DESTINATION "${CMAKE_INSTALL_DOCDIR}" PATTERN ".snakemake" EXCLUDE
  PATTERN "__pycache__" EXCLUDE)

# Debian looks for these under the package's own name.
file(READ "${CMAKE_SOURCE_DIR}/workbench/report/page/vendor/LICENSE" UPLOT_LICENSE)
string(REPLACE "\n" "\n " UPLOT_LICENSE " ${UPLOT_LICENSE}")
configure_file("${CMAKE_CURRENT_LIST_DIR}/debian/copyright.in" "${CMAKE_BINARY_DIR}/debian/copyright" @ONLY)
execute_process(COMMAND date -u -R -d "${ORIDAN_DATE}" OUTPUT_VARIABLE changelog_date OUTPUT_STRIP_TRAILING_WHITESPACE
  COMMAND_ERROR_IS_FATAL ANY)
file(WRITE "${CMAKE_BINARY_DIR}/debian/changelog"
  "oridan (${PROJECT_VERSION}) bookworm; urgency=medium\n\n  * See README.md and CHANGELOG.md.\n\n"
  " -- The Oridan developers <oridan@example.org>  ${changelog_date}\n")
execute_process(COMMAND gzip -9nkf "${CMAKE_BINARY_DIR}/debian/changelog" COMMAND_ERROR_IS_FATAL ANY)
install(FILES "${CMAKE_BINARY_DIR}/debian/copyright" "${CMAKE_BINARY_DIR}/debian/changelog.gz"
  DESTINATION "${CMAKE_INSTALL_DATADIR}/doc/oridan")

set(CPACK_GENERATOR DEB TGZ)
set(CPACK_PACKAGE_NAME oridan)
set(CPACK_PACKAGE_VENDOR "The Oridan developers")
set(CPACK_PACKAGE_CONTACT "The Oridan developers <oridan@example.org>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "removal of recurring artifacts from EEG/MEG recordings")
set(CPACK_PACKAGE_DESCRIPTION
"Removes artifacts that recur at known moments (the gradients of an MR scanner,
heartbeats, blinks) from EEG/MEG recordings with the optimal basis set method.
.
The program workbench imports recordings (BrainVision, EDF, BDF, GDF), checks
them, cleans one or many, shows the result as a page for the browser, and
exports it. The program ctc looks into recordings, converts and cuts them. The
plug-in module for the Nivora workbench, and its library with headers, are part
of the package.")
set(CPACK_STRIP_FILES ON)
# The same sources give the same packages, byte for byte (scripts/release.sh --twice): dates and permissions inside do not
# depend on when and where they were made.
set(CPACK_PRE_BUILD_SCRIPTS "${CMAKE_CURRENT_LIST_DIR}/SettlePackage.cmake")
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE
  WORLD_READ WORLD_EXECUTE)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_PACKAGE_FILE_NAME "oridan-${PROJECT_VERSION}-linux-${CMAKE_SYSTEM_PROCESSOR}")
set(CPACK_DEBIAN_PACKAGE_SECTION science)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "snakemake, www-browser")
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA "${CMAKE_CURRENT_LIST_DIR}/debian/triggers")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
include(CPack)
