# The host tools as a Debian package: `scripts/package`, which is cpack with the environment it wants.
set(documents share/doc/rcbench)
install(FILES packaging/debian/copyright packaging/debian/changelog DESTINATION ${documents} COMPONENT bench)
install(FILES packaging/debian/rcbench.lintian-overrides DESTINATION share/lintian/overrides RENAME rcbench
        COMPONENT bench)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME rcbench)
set(CPACK_PACKAGE_CONTACT "rc maintainers <maintainers@rc.example>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_SOURCE_DIR}/packaging/debian/stage.cmake)

# Not rc as the router's own program: only what the bench has in its component.
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL bench)
set(CPACK_DEBIAN_BENCH_PACKAGE_NAME rcbench)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION devel)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_COMPONENT_BENCH_DESCRIPTION "bench for rc, the service controller of a small home router
Runs rc on a router built on the desk and shows what it does: every command
with its effect, every file and pause, the packet filter as data, what a
changed setting would change. With nvram, leases and vpnconf, which read and
write the router's own files.")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_DEPENDS "bubblewrap, busybox-static, dash")
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "proot, iproute2, iptables, ipset")
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "qemu-user-static")
include(CPack)
