# Run by cpack on the installed tree before it is packed: Debian has names and places of its own.

set(share ${CPACK_TEMPORARY_INSTALL_DIRECTORY}${CPACK_PACKAGING_INSTALL_PREFIX}/share)

# Its zsh does not look into site-functions here.
file(RENAME ${share}/zsh/site-functions ${share}/zsh/vendor-completions)

set(doc ${share}/doc/${CPACK_PACKAGE_NAME})
file(RENAME ${doc}/CHANGELOG.md ${doc}/changelog)
string(TIMESTAMP now "%a, %d %b %Y %H:%M:%S +0000" UTC)
set(version ${CPACK_PACKAGE_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})
file(WRITE ${doc}/changelog.Debian
"${CPACK_PACKAGE_NAME} (${version}) stable; urgency=medium

  * Packaged; what is new is in changelog.gz.

 -- ${CPACK_PACKAGE_CONTACT}  ${now}
")
execute_process(COMMAND gzip --best --no-name ${doc}/changelog ${doc}/changelog.Debian
                COMMAND_ERROR_IS_FATAL ANY)
