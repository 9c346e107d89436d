# The Debian packages mcgate and mcgate-dev. Neither has a maintainer script.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_DIRECTORY ${CMAKE_BINARY_DIR}/packages)
set(CPACK_PACKAGE_NAME mcgate)
set(CPACK_PACKAGE_CONTACT "mcgate maintainers <mcgate@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "carries MPEG-2 transport streams over UDP and multicast")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_COMPONENTS_ALL runtime dev)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
# What is made at installation has to know the final paths, which DESTDIR leaves as they will be.
set(CPACK_SET_DESTDIR ON)
set(CPACK_INSTALL_PREFIX /usr)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME mcgate)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION net)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION
    "The command mcgate, the module with its sender and receiver filters, and a systemd unit for streams that run always.")
set(CPACK_DEBIAN_DEV_PACKAGE_NAME mcgate-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "mcgate (= ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})")
set(CPACK_COMPONENT_DEV_DESCRIPTION
    "Headers, libraries, a CMake package and an example for applications that use the filters of mcgate.")
include(CPack)
