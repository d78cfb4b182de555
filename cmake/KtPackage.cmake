# Packages by cpack: a .deb with libraries, headers, program and documents, which names the packages
# that it needs.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME ktscript)
set(CPACK_PACKAGE_VENDOR KtScript)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_PACKAGE_FILE_NAME "ktscript-${PROJECT_VERSION}-${CMAKE_SYSTEM_PROCESSOR}")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "KtScript maintainers")
set(CPACK_DEBIAN_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "pkg-config")
find_program(KT_SHLIBDEPS dpkg-shlibdeps)
if(KT_SHLIBDEPS)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
  # Its own libraries lie beside each other.
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR} ${PROJECT_BINARY_DIR}/capi
      ${PROJECT_BINARY_DIR}/connect)
endif()
include(CPack)
