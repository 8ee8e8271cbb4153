# `cpack` in the build folder makes a Debian package of what is installed.

set(TINTWELL_MAINTAINER "Tintwell maintainers <maintainers@tintwell.invalid>" CACHE STRING
    "Who answers for the package, as NAME <ADDRESS>")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_CONTACT ${TINTWELL_MAINTAINER})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "automatic colour correction for video")
set(CPACK_PACKAGE_DESCRIPTION
"Takes the colour cast and the haze out of video, by itself: for every frame
it finds levels for red, green and blue that make black black and white white,
keeps them steady over time, and stops at cuts.

This package has the command-line program, which reads and writes whatever
FFmpeg's libraries do, the effect module for compositing hosts, and the effect
as an OpenFX plug-in for editing and compositing programs.")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_SECTION video)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_CURRENT_LIST_DIR}/debian/arrange_files.cmake)
set(CPACK_POST_BUILD_SCRIPTS ${CMAKE_CURRENT_LIST_DIR}/debian/drop_scripts.cmake)

include(CPack)
