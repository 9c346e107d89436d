# What is installed, and where. Component `runtime`: the command, the module and the shared library side by side in a
# directory of their own. Component `dev`: what an application is built with.
if(CMAKE_LIBRARY_ARCHITECTURE AND NOT DEFINED CMAKE_INSTALL_LIBDIR)
    set(CMAKE_INSTALL_LIBDIR lib/${CMAKE_LIBRARY_ARCHITECTURE} CACHE PATH "Where libraries are installed")
endif()
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)
set(place ${CMAKE_INSTALL_LIBDIR}/mcgate)
set(documents ${CMAKE_INSTALL_DATADIR}/doc)
set(made ${CMAKE_BINARY_DIR}/packaging)

install(TARGETS mcgate_command RUNTIME DESTINATION ${place} COMPONENT runtime)
install(TARGETS mcgate LIBRARY DESTINATION ${place} COMPONENT runtime)
file(MAKE_DIRECTORY ${made})
file(RELATIVE_PATH command ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR}/mcgate/mcgate)
file(CREATE_LINK ${command} ${made}/mcgate SYMBOLIC)
install(FILES ${made}/mcgate DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime)
set(pages ${CMAKE_BINARY_DIR}/host/describe)
install(FILES ${pages}/mcgate.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT runtime)
install(FILES ${pages}/mcgate.bash RENAME mcgate
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT runtime)
install(FILES ${pages}/mcgate.zsh RENAME _mcgate
    DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions COMPONENT runtime)
install(FILES ${pages}/mcgate.fish
    DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d COMPONENT runtime)
file(GLOB texts CONFIGURE_DEPENDS docs/*.md docs/*.json)
install(FILES README.md ${texts} DESTINATION ${documents}/mcgate COMPONENT runtime)

# The libraries find their way into an application, and the shared one again when that runs.
set(libraries mcgate_process mcgate_platform mcgate_foundation mcgate_media)
foreach(library ${libraries})
    string(REPLACE mcgate_ "" name ${library})
    set_target_properties(${library} PROPERTIES EXPORT_NAME ${name})
endforeach()
target_compile_features(mcgate_platform PUBLIC cxx_std_20)
target_link_options(mcgate_process INTERFACE $<INSTALL_INTERFACE:LINKER:-rpath,$<INSTALL_PREFIX>/${place}>)
install(TARGETS ${libraries} EXPORT mcgate
    LIBRARY DESTINATION ${place} COMPONENT runtime NAMELINK_COMPONENT dev
    ARCHIVE DESTINATION ${place} COMPONENT dev
    INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/mcgate)
foreach(library ${libraries})
    install(CODE "
        if(CMAKE_INSTALL_DO_STRIP AND \"$<TARGET_PROPERTY:${library},TYPE>\" STREQUAL STATIC_LIBRARY)
            execute_process(COMMAND \"${CMAKE_STRIP}\" --strip-debug
                \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${place}/$<TARGET_FILE_NAME:${library}>\"
                COMMAND_ERROR_IS_FATAL ANY)
        endif()
    " COMPONENT dev)
endforeach()

# Sockets and adapters are the module's own affair.
install(DIRECTORY src/interfaces src/media src/foundation src/platform
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/mcgate COMPONENT dev
    FILES_MATCHING PATTERN *.h
    PATTERN src/platform/linux EXCLUDE
    PATTERN src/platform/adapters.h EXCLUDE
    PATTERN src/platform/address_change_notification.h EXCLUDE
    PATTERN src/platform/interface_state.h EXCLUDE
    PATTERN src/platform/routes.h EXCLUDE
    PATTERN src/platform/socket*.h EXCLUDE
    PATTERN src/platform/process/*_*.h EXCLUDE
    PATTERN src/foundation/winsock22_init.h EXCLUDE)
install(EXPORT mcgate NAMESPACE mcgate:: FILE mcgateTargets.cmake
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/mcgate COMPONENT dev)
set(registry ${place}/registry)
configure_package_config_file(packaging/mcgateConfig.cmake.in ${made}/mcgateConfig.cmake
    INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/mcgate
    PATH_VARS registry)
write_basic_package_version_file(${made}/mcgateConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${made}/mcgateConfig.cmake ${made}/mcgateConfigVersion.cmake
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/mcgate COMPONENT dev)
file(RELATIVE_PATH prefix_from_pc /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
configure_file(packaging/mcgate.pc.in ${made}/mcgate.pc @ONLY)
install(FILES ${made}/mcgate.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT dev)
install(DIRECTORY examples DESTINATION ${documents}/mcgate-dev COMPONENT dev)

# What names the installed paths is made at the end of the installation, when they are known: the unit, and the registry
# in which applications find the module's classes.
install(CODE "
    set(MCGATE_COMMAND \"\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_BINDIR}/mcgate\")
    set(root \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}\")
    configure_file(\"${CMAKE_SOURCE_DIR}/packaging/mcgate@.service.in\"
                   \"\${root}/lib/systemd/system/mcgate@.service\" @ONLY)
    set(registry \"\${root}/${place}/registry\")
    file(REMOVE \"\${registry}\")
    execute_process(COMMAND \"\${root}/${place}/mcgate\" register --registry \"\${registry}\"
                    OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
    file(REMOVE \"\${registry}.lock\")
    file(READ \"\${registry}\" classes)
    string(REPLACE \"\$ENV{DESTDIR}/\" \"/\" classes \"\${classes}\")
    file(WRITE \"\${registry}\" \"\${classes}\")
    list(APPEND CMAKE_INSTALL_MANIFEST_FILES \"\${CMAKE_INSTALL_PREFIX}/${place}/registry\"
         \"\${CMAKE_INSTALL_PREFIX}/lib/systemd/system/mcgate@.service\")
" COMPONENT runtime)
