# An overlay port that builds the checkout it lies in:
#   vcpkg install ktscript --overlay-ports=<checkout>/packaging/vcpkg
get_filename_component(SOURCE_PATH "${CMAKE_CURRENT_LIST_DIR}/../../.." ABSOLUTE)

vcpkg_check_features(OUT_FEATURE_OPTIONS options FEATURES
  tool KT_CLI
  sqlite KT_SQLITE
  postgresql KT_POSTGRESQL
  spreadsheets KT_XLSX)
vcpkg_cmake_configure(
  SOURCE_PATH "${SOURCE_PATH}"
  OPTIONS ${options} -DKT_TESTS=OFF -DKT_BENCH=OFF -DKT_FUZZ=OFF -DKT_PYTHON=OFF)
vcpkg_cmake_install()
vcpkg_cmake_config_fixup(PACKAGE_NAME KtScript CONFIG_PATH lib/cmake/KtScript)
vcpkg_fixup_pkgconfig()
if("tool" IN_LIST FEATURES)
  vcpkg_copy_tools(TOOL_NAMES kt AUTO_CLEAN)
endif()
file(REMOVE_RECURSE "${CURRENT_PACKAGES_DIR}/debug/include" "${CURRENT_PACKAGES_DIR}/debug/share")
vcpkg_install_copyright(FILE_LIST "${SOURCE_PATH}/LICENSE")
