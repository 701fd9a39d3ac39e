# `make package`: a Debian package of what `make install` installs, built by CPack. The shared
# libraries the program links are declared by dpkg-shlibdeps under Debian's package names; what it
# loads at run time without linking (Qt's platform plugins, a GL driver, the browser opener for the
# manual) is declared here.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME quorvex)
set(CPACK_PACKAGE_VENDOR Quorvex)
set(QUORVEX_MAINTAINER "Quorvex developers <developers@quorvex.org>" CACHE STRING
    "The maintainer named in the Debian package")
set(CPACK_PACKAGE_CONTACT "${QUORVEX_MAINTAINER}")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "stereoscopic 3D video player")
# CPack puts the summary before it as the package's one-line synopsis.
set(CPACK_PACKAGE_DESCRIPTION "Quorvex plays stereoscopic video on ordinary monitors and on stereo display
hardware: red/cyan and blue/yellow anaglyphs, row-interlaced lines, sync-doubled
frames for shutter glasses and quad-buffered OpenGL stereo. It guesses how the
two eye views are packed in a file, and its command line converts stereo videos
into the chosen format without a window.")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION video)
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE "${QUORVEX_HOMEPAGE}")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_DEPENDS "qt6-qpa-plugins")
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "libgl1-mesa-dri, xdg-utils")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_STRIP_FILES ON)
# The installed files name their own places (the manual page names the manual's), so the package
# installs where the build was configured to: `make package` configures /usr.
set(CPACK_PACKAGING_INSTALL_PREFIX "${CMAKE_INSTALL_PREFIX}")
set(CPACK_OUTPUT_FILE_PREFIX "${PROJECT_BINARY_DIR}")
include(CPack)
