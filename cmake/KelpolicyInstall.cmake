# What is installed: the library with its headers for engines, the command line for administrators, and a Debian package
# of both.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(kelpolicyHeaders kelpolicy.h sqlpiApi.h sqlpiApplReadPolicyTable.h sqlpiBackup.h sqlpiCommonPolicy.h sqlpiFormat.h
  sqlpiMaintWin.h sqlpiPolicyAttributes.def sqlpiPolicyBase.h sqlpiPolicyCommonParser.h sqlpiPolicyConfig.h
  sqlpiPolicyElements.def sqlpiPolicyRecords.h sqlpiPolicySchemas.h sqlpiPolicySp.h sqlpiStatsProf.h
  sqlpiStatsProfAppl.h)
list(TRANSFORM kelpolicyHeaders PREPEND "${PROJECT_SOURCE_DIR}/engn/sqpi/inc/")
file(GLOB kelpolicyContracts "${PROJECT_SOURCE_DIR}/engn/plat/inc/*.h")
install(FILES ${kelpolicyHeaders} ${kelpolicyContracts} DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/kelpolicy")

install(TARGETS kelpolicy LIBRARY)
install(TARGETS kelpolicy-cli RUNTIME)

# What belongs into an instance directory, for engines that make their own.
set(kelpolicyData "${CMAKE_INSTALL_DATADIR}/kelpolicy")
install(FILES "$<TARGET_PROPERTY:kelpolicy_package,BIND_FILE>" "${PROJECT_BINARY_DIR}/hosts/common/kelsql.mo"
  DESTINATION "${kelpolicyData}")
install(DIRECTORY "${PROJECT_SOURCE_DIR}/samples" DESTINATION "${CMAKE_INSTALL_DOCDIR}")
# Side by side as in the sources, so that their links lead there.
install(FILES README.md CHANGELOG.md CONTRIBUTING.md DESTINATION "${CMAKE_INSTALL_DOCDIR}")
install(DIRECTORY docs DESTINATION "${CMAKE_INSTALL_DOCDIR}")
target_compile_definitions(kelpolicy-cli PRIVATE KELPOLICY_DOCUMENTS="${CMAKE_INSTALL_DOCDIR}/docs")

# Manual pages and completion, which the program writes from its own definitions.
set(made "${PROJECT_BINARY_DIR}/made")
add_custom_command(OUTPUT "${made}/stamp"
  COMMAND ${CMAKE_COMMAND} -E rm -rf "${made}/man1"
  COMMAND kelpolicy-cli manual --directory "${made}/man1"
  COMMAND kelpolicy-cli completion bash > "${made}/kelpolicy.bash"
  COMMAND kelpolicy-cli completion zsh > "${made}/_kelpolicy"
  COMMAND kelpolicy-cli completion fish > "${made}/kelpolicy.fish"
  COMMAND ${CMAKE_COMMAND} -E touch "${made}/stamp"
  DEPENDS kelpolicy-cli
  COMMENT "Writing manual pages and completions" VERBATIM)
add_custom_target(kelpolicy_manuals ALL DEPENDS "${made}/stamp")
install(DIRECTORY "${made}/man1" DESTINATION "${CMAKE_INSTALL_MANDIR}")
install(FILES "${made}/kelpolicy.bash" DESTINATION "${CMAKE_INSTALL_DATADIR}/bash-completion/completions"
  RENAME kelpolicy)
install(FILES "${made}/_kelpolicy" DESTINATION "${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions")
install(FILES "${made}/kelpolicy.fish" DESTINATION "${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d")

set(packageDirectory "${CMAKE_INSTALL_LIBDIR}/cmake/kelpolicy")
configure_package_config_file("${PROJECT_SOURCE_DIR}/cmake/kelpolicyConfig.cmake.in"
  "${PROJECT_BINARY_DIR}/kelpolicyConfig.cmake" INSTALL_DESTINATION "${packageDirectory}"
  PATH_VARS CMAKE_INSTALL_INCLUDEDIR CMAKE_INSTALL_LIBDIR kelpolicyData)
write_basic_package_version_file("${PROJECT_BINARY_DIR}/kelpolicyConfigVersion.cmake" COMPATIBILITY SameMinorVersion)
install(FILES "${PROJECT_BINARY_DIR}/kelpolicyConfig.cmake" "${PROJECT_BINARY_DIR}/kelpolicyConfigVersion.cmake"
  DESTINATION "${packageDirectory}")
# The prefix is where the file is found: the same build is installed below one and packaged for another.
file(RELATIVE_PATH kelpolicyUp "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" /)
string(REGEX REPLACE "/$" "" kelpolicyUp "${kelpolicyUp}")
configure_file("${PROJECT_SOURCE_DIR}/cmake/kelpolicy.pc.in" "${PROJECT_BINARY_DIR}/kelpolicy.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/kelpolicy.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME kelpolicy)
set(CPACK_PACKAGE_CONTACT "The kelpolicy developers <developers@kelpolicy.example>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION database)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# The library's undefined names are the engine's to bring; the driver manager is loaded at run time.
set(CPACK_DEBIAN_PACKAGE_DEPENDS "libodbc2, odbcinst")
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "tzdata")
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "libxerces-c-dev, unixodbc-dev")
set(CPACK_STRIP_FILES ON)
include(CPack)
