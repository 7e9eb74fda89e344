# What Debian wants of the tree beyond an installation: the changelog, that compressed as well as the manual's pages, the
# programs without what only their makers read, where the guide is, the reasons for what its checker would ask about,
# the bill of materials, and folders that all users may open, independent of the umask.
set(tree ${CPACK_TEMPORARY_DIRECTORY}/usr)
set(readable FILE_PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
file(COPY ${CMAKE_CURRENT_LIST_DIR}/changelog DESTINATION ${tree}/share/doc/wingbell-control ${readable})
file(COPY ${CMAKE_CURRENT_LIST_DIR}/lintian-overrides DESTINATION ${tree}/share/lintian/overrides ${readable})
file(COPY ${CMAKE_CURRENT_LIST_DIR}/doc-base DESTINATION ${tree}/share/doc-base ${readable})
file(RENAME ${tree}/share/doc-base/doc-base ${tree}/share/doc-base/wingbell-control.wingbell-control-guide)
file(RENAME ${tree}/share/lintian/overrides/lintian-overrides ${tree}/share/lintian/overrides/wingbell-control)
file(GLOB pages ${tree}/share/man/man*/*)
execute_process(COMMAND gzip -9n ${tree}/share/doc/wingbell-control/changelog ${pages} COMMAND_ERROR_IS_FATAL ANY)
execute_process(
    COMMAND strip --remove-section=.comment --remove-section=.note
        ${tree}/bin/WingbellControl ${tree}/libexec/wingbell-control/IntercomServer
    COMMAND_ERROR_IS_FATAL ANY)
execute_process(
    COMMAND python3 ${CMAKE_CURRENT_LIST_DIR}/../write_bill_of_materials.py ${CPACK_WINGBELL_BUILD}
        ${CPACK_PACKAGE_VERSION} ${CPACK_DEBIAN_PACKAGE_DEPENDS} ${CPACK_DEBIAN_PACKAGE_RECOMMENDS}
        ${tree}/bin/WingbellControl ${tree}/libexec/wingbell-control/IntercomServer
    OUTPUT_FILE ${tree}/share/doc/wingbell-control/wingbell-control.spdx.json
    COMMAND_ERROR_IS_FATAL ANY)
file(CHMOD ${tree}/share/doc/wingbell-control/wingbell-control.spdx.json
    PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
execute_process(COMMAND find ${tree} -type d -exec chmod 755 {} + COMMAND_ERROR_IS_FATAL ANY)
