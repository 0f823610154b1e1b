# What the linker settles once costs no start of a program anything, and no memory for what it does
# not use. Sanitizers tell code that is not built with them by its library: there all are shared.
if(NOT TARN_SANITIZERS)
    set(Boost_USE_STATIC_LIBS ON)
    find_library(TARN_STATIC_PROTOBUF libprotobuf.a REQUIRED)
    add_link_options(LINKER:--gc-sections)
endif()
find_package(Threads REQUIRED)
find_package(Boost 1.74 REQUIRED COMPONENTS program_options filesystem system thread)
find_package(Protobuf REQUIRED)
find_package(log4cplus REQUIRED)
find_package(fmt REQUIRED)
find_package(CLI11 REQUIRED)
find_package(SQLiteCpp REQUIRED)
find_package(nlohmann_json REQUIRED)
find_package(SQLite3 REQUIRED)
find_package(PkgConfig REQUIRED)
pkg_check_modules(ZeroMQ REQUIRED IMPORTED_TARGET libzmq)
pkg_check_modules(GStreamer REQUIRED IMPORTED_TARGET gstreamer-1.0)
pkg_check_modules(IsaL REQUIRED IMPORTED_TARGET libisal)  # checksums at the speed of memory
find_path(RAPIDXML_INCLUDE_DIR rapidxml/rapidxml.hpp REQUIRED)
pkg_check_modules(GStreamerBase REQUIRED IMPORTED_TARGET gstreamer-1.0 gstreamer-base-1.0)
pkg_check_modules(Fuse REQUIRED IMPORTED_TARGET fuse3)  # the tests' own disks
