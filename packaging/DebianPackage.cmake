# The Debian package of what is installed. It is made from the build that is there: cpack compiles nothing.
#
# Debian's own tool finds the libraries that the programs are linked against. Other dependencies (QML modules, the
# speech synthesizer, fonts) are listed in debian-packages.txt as "run"; what they work without as "recommend".
file(STRINGS debian-packages.txt run_lines REGEX "^run ")
list(TRANSFORM run_lines REPLACE "^run " "" OUTPUT_VARIABLE run_packages)
list(JOIN run_packages ", " run_packages)
file(STRINGS debian-packages.txt recommend_lines REGEX "^recommend ")
list(TRANSFORM recommend_lines REPLACE "^recommend " "" OUTPUT_VARIABLE recommended_packages)
list(JOIN recommended_packages ", " recommended_packages)

file(READ prepare_shared_folder.sh WINGBELL_PREPARE_SHARED_FOLDER)
set(control_files ${CMAKE_CURRENT_BINARY_DIR}/debian)
set(executable_by_all FILE_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
configure_file(debian/postinst.in ${control_files}/postinst @ONLY ${executable_by_all})
configure_file(debian/postrm ${control_files}/postrm COPYONLY ${executable_by_all})
# Every file in the package is from the day of the release, so that the same sources give the same package.
file(CONFIGURE OUTPUT ${control_files}/reproducible.cmake @ONLY CONTENT [[
if(NOT DEFINED ENV{SOURCE_DATE_EPOCH})
    set(ENV{SOURCE_DATE_EPOCH} @WINGBELL_RELEASE_SECONDS@)
endif()
]])

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME wingbell-control)
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/package)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_INSTALL_PREFIX /usr)
set(CPACK_SET_DESTDIR ON) # so that nothing that is installed names the folder in which it is packed
set(CPACK_PROJECT_CONFIG_FILE ${control_files}/reproducible.cmake)
set(CPACK_WINGBELL_BUILD ${PROJECT_BINARY_DIR})
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_CURRENT_SOURCE_DIR}/debian/finish_tree.cmake)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_DEPENDS ${run_packages})
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS ${recommended_packages})
set(CPACK_DEBIAN_PACKAGE_MAINTAINER ${maintainer})
set(CPACK_DEBIAN_PACKAGE_SECTION sound)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
if(WINGBELL_HOMEPAGE)
    set(CPACK_DEBIAN_PACKAGE_HOMEPAGE ${WINGBELL_HOMEPAGE})
endif()
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA ${control_files}/postinst ${control_files}/postrm)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "control desk and server of a theatre intercom")
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION "\
The crew of a show talk to each other with the browsers of their phones, and a
cue player makes announcements to them over OSC. In one window you name the
show, its channels and the roles that talk and listen on them, and put it on
air with a switch.

This package contains the window, WingbellControl, and the server that it
starts, IntercomServer, which can also be used alone.")
include(CPack)
