# cpack runs this before it packs the folder of installed files: every file and folder gets the date of the release
# (SOURCE_DATE_EPOCH, where it is set) and permissions that do not depend on the umask of whoever builds.
if(DEFINED ENV{SOURCE_DATE_EPOCH})
  execute_process(COMMAND find "${CPACK_TEMPORARY_DIRECTORY}" -exec touch --no-dereference
                          --date=@$ENV{SOURCE_DATE_EPOCH} {} + COMMAND_ERROR_IS_FATAL ANY)
endif()
execute_process(COMMAND chmod -R u=rwX,go=rX "${CPACK_TEMPORARY_DIRECTORY}" COMMAND_ERROR_IS_FATAL ANY)
