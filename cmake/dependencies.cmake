# Every package the build links, found once. The Debian packages they come from are listed in
# packaging/dependencies.txt.
find_package(PkgConfig REQUIRED)
find_package(Threads REQUIRED)
pkg_check_modules(GLIB REQUIRED IMPORTED_TARGET glib-2.0)
pkg_check_modules(GMODULE REQUIRED IMPORTED_TARGET gmodule-2.0)
pkg_check_modules(GIO REQUIRED IMPORTED_TARGET gio-2.0 gio-unix-2.0)
pkg_check_modules(JANSSON REQUIRED IMPORTED_TARGET jansson)
pkg_check_modules(MOSQUITTO REQUIRED IMPORTED_TARGET libmosquitto)
pkg_check_modules(POLYCLIPPING REQUIRED IMPORTED_TARGET polyclipping)
pkg_check_modules(LIBXML REQUIRED IMPORTED_TARGET libxml-2.0)
