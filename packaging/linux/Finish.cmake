# CPack runs this script before it writes the package.

# Sets the usual folder permissions, because CMake creates folders with the builder's umask.
file(CHMOD_RECURSE ${CPACK_TEMPORARY_DIRECTORY} DIRECTORY_PERMISSIONS
     OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

# CPack does not remove the .comment section, which Debian packages must not contain.
file(GLOB program ${CPACK_TEMPORARY_DIRECTORY}/*/usr/bin/quillet)
execute_process(COMMAND ${CPACK_QUILLET_STRIP} --remove-section=.comment ${program}
                COMMAND_ERROR_IS_FATAL ANY)

# KWin reports the state of the modifiers only to programs whose desktop entries contain their
# absolute path (fetchRequestedInterfaces in KWin's source).
file(GLOB entry ${CPACK_TEMPORARY_DIRECTORY}/*/usr/share/applications/org.quillet.Quillet.desktop)
file(READ ${entry} text)
string(REPLACE "Exec=quillet" "Exec=/usr/bin/quillet" text "${text}")
file(WRITE ${entry} "${text}")
