# Install rules: libraries, public headers, the kt program, documents, and the two ways in which
# other builds find them: find_package(KtScript) and pkg-config.
include(CMakePackageConfigHelpers)

set(kt_package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/KtScript)

# Programs and libraries find each other by relative place, so an installed tree can be moved.
file(RELATIVE_PATH kt_bin_to_lib /${CMAKE_INSTALL_BINDIR} /${CMAKE_INSTALL_LIBDIR})
set_target_properties(KtConnectLib320U KtScriptLib320U KtSqlLib320U ktscript
  PROPERTIES INSTALL_RPATH "$ORIGIN")

install(TARGETS KtClassLib320U KtConnectLib320U KtScriptLib320U KtSqlLib320U ktscript
  EXPORT KtScriptTargets)
if(TARGET kt)
  if(NOT KT_PROGRAM_IS_WHOLE)
    set_target_properties(kt PROPERTIES INSTALL_RPATH "$ORIGIN/${kt_bin_to_lib}")
  endif()
  install(TARGETS kt)
  if(KT_USAGE_DIR)
    install(FILES ${KT_USAGE_DIR}/bash
      DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME kt)
    install(FILES ${KT_USAGE_DIR}/zsh
      DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/site-functions RENAME _kt)
    install(FILES ${KT_USAGE_DIR}/fish
      DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d RENAME kt.fish)
    install(DIRECTORY ${KT_USAGE_DIR}/man1 DESTINATION ${CMAKE_INSTALL_MANDIR})
  endif()
endif()

# With the detail folders: public templates stand on some of them.
foreach(folder ${KT_LIBRARY_FOLDERS})
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/${folder}
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/ktscript
    FILES_MATCHING PATTERN "*.h")
endforeach()

install(FILES ${PROJECT_SOURCE_DIR}/capi/kt.h
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/ktscript/capi)

install(FILES ${PROJECT_SOURCE_DIR}/LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(FILES ${PROJECT_SOURCE_DIR}/README.md DESTINATION ${CMAKE_INSTALL_DOCDIR} OPTIONAL)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs/ DESTINATION ${CMAKE_INSTALL_DOCDIR}
  FILES_MATCHING PATTERN "*.md" PATTERN "*.svg")

install(EXPORT KtScriptTargets NAMESPACE Kt:: DESTINATION ${kt_package_dir})
configure_package_config_file(
  ${PROJECT_SOURCE_DIR}/cmake/KtScriptConfig.cmake.in ${PROJECT_BINARY_DIR}/KtScriptConfig.cmake
  INSTALL_DESTINATION ${kt_package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/KtScriptConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/KtScriptConfig.cmake ${PROJECT_BINARY_DIR}/KtScriptConfigVersion.cmake
  DESTINATION ${kt_package_dir})

file(RELATIVE_PATH KT_PC_TO_PREFIX /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
set(KT_PC_DEFINES "")
set(KT_PC_PRIVATE_KEY "Requires.private")
if(NOT BUILD_SHARED_LIBS)
  set(KT_PC_DEFINES " -DKT_STATIC")
  # Static libraries do not carry what they need; a plain `pkg-config --libs` has to name it.
  set(KT_PC_PRIVATE_KEY "Requires")
endif()
# For C++, and for C.
foreach(pc ktscript ktscript-c)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/${pc}.pc.in ${PROJECT_BINARY_DIR}/${pc}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${pc}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endforeach()
