# `make package` (cpack -G DEB in a build folder): one Debian package with the library, its headers, the
# CMake and pkg-config files, the lab, the halvora tool and its bash completion. The library is static, so
# the package is a development package: it depends on what an application needs to link it (the -dev
# package of sdbus-c++ where the BlueZ transport is built) and, through dpkg-shlibdeps, on what the tool
# needs to run.
set(CPACK_PACKAGE_NAME "halvora")
set(CPACK_PACKAGE_VENDOR "Halvora")
set(CPACK_PACKAGE_CONTACT "Halvora SDK team <sdk@halvora.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Halvora SDK: personal health devices over Bluetooth Low Energy")
set(CPACK_PACKAGE_DESCRIPTION "A C++20 kit that health applications link in to talk to blood-pressure \
monitors, thermometers, oximeters, scales, bracelets and pill boxes over Bluetooth LE, with a virtual \
device lab and the halvora command-line tool.")
set(CPACK_PACKAGE_VERSION "${PROJECT_VERSION}")
set(CPACK_PACKAGING_INSTALL_PREFIX "/usr")
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION "libdevel")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(HALVORA_DEB_DEPENDS "libstdc++-12-dev, pkg-config")
if(HALVORA_BLUEZ_ENABLED)
  # sdbus-c++'s own pkg-config file requires libsystemd's, which its -dev package does not bring.
  string(APPEND HALVORA_DEB_DEPENDS ", libsdbus-c++-dev (>= 1.2), libsystemd-dev")
endif()
set(CPACK_DEBIAN_PACKAGE_DEPENDS "${HALVORA_DEB_DEPENDS}")
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "cmake (>= 3.25), bluez")
include(CPack)
