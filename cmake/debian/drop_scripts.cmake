# Run by cpack on the finished package: because of the folder it is in, cpack takes the effect module
# for a library of the system, and adds scripts that refresh the dynamic linker's cache.

foreach(package IN LISTS CPACK_PACKAGE_FILES)
    set(tree ${CPACK_TEMPORARY_DIRECTORY}/repacked)
    file(REMOVE_RECURSE ${tree})
    execute_process(COMMAND dpkg-deb --raw-extract ${package} ${tree} COMMAND_ERROR_IS_FATAL ANY)
    file(REMOVE ${tree}/DEBIAN/postinst ${tree}/DEBIAN/postrm)
    execute_process(COMMAND dpkg-deb --root-owner-group --build ${tree} ${package}
                    OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
endforeach()
