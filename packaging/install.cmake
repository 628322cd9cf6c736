# What "make install" puts where, and how others find it: find_package( orlo ) or pkg-config. Nothing in it names the
# prefix, so that the tree can be moved.
set(ORLO_MODULES lib/orlo) # the helper modules that come with the agent

target_include_directories(quor INTERFACE $<INSTALL_INTERFACE:include/orlo>)
target_compile_features(quor INTERFACE cxx_std_20)
set_target_properties(orlovrrp PROPERTIES INSTALL_RPATH $ORIGIN)
set_target_properties(orlo-helper-bridge orlo-helper-ebpf orlo-helper-memory PROPERTIES INSTALL_RPATH "$ORIGIN/..")
set_target_properties(orlo-agent orlo-conformance
                      PROPERTIES INSTALL_RPATH "$ORIGIN/../lib:$ORIGIN/../${ORLO_MODULES}")

install(TARGETS quor orlovrrp EXPORT orlo LIBRARY DESTINATION lib)
install(TARGETS orlo-agent orlo-conformance orloctl RUNTIME DESTINATION bin)
install(TARGETS orlo-helper-bridge orlo-helper-ebpf orlo-helper-memory LIBRARY DESTINATION ${ORLO_MODULES})
install(FILES agent/orlo-agent.schema.json DESTINATION share/orlo)
install(FILES ctl/orloctl.bash DESTINATION share/bash-completion/completions RENAME orloctl)
# Written while installing, when the prefix is known.
install(CODE "configure_file(\"${CMAKE_SOURCE_DIR}/packaging/orlo-agent.service.in\"
                             \"${CMAKE_BINARY_DIR}/orlo-agent.service\" @ONLY)")
install(FILES ${CMAKE_BINARY_DIR}/orlo-agent.service DESTINATION lib/systemd/system)
install(FILES packaging/systemd/ebpf.conf packaging/systemd/memory.conf packaging/systemd/metrics.conf
        DESTINATION share/orlo/systemd)
install(FILES packaging/orlo.sysusers DESTINATION lib/sysusers.d RENAME orlo.conf)
install(DIRECTORY quor pelmo bridging platform types
                  OrloVrrpHelper OrloVrrpSm OrloVrrpPrivateVlanReflectorLib
        DESTINATION include/orlo
        FILES_MATCHING PATTERN "*.h" PATTERN "*.ipp"
        PATTERN QuorVrrpMacStatus.h EXCLUDE # inside of the plug-in
        PATTERN ReflectorTrace.h EXCLUDE
        PATTERN Sites.h EXCLUDE)

install(EXPORT orlo NAMESPACE orlo:: FILE orlo-config.cmake DESTINATION lib/cmake/orlo)
include(CMakePackageConfigHelpers)
write_basic_package_version_file(orlo-config-version.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/orlo-config-version.cmake DESTINATION lib/cmake/orlo)
foreach(library quor orlo)
   configure_file(packaging/${library}.pc.in ${library}.pc @ONLY)
   install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${library}.pc DESTINATION lib/pkgconfig)
endforeach()
