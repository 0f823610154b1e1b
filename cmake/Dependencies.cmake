find_package(Threads REQUIRED)
find_package(Boost 1.74 REQUIRED COMPONENTS program_options filesystem system thread)
find_package(Protobuf REQUIRED)
find_package(log4cplus REQUIRED)
find_package(fmt REQUIRED)
find_package(CLI11 REQUIRED)
<<<<<<< HEAD
find_package(SQLiteCpp REQUIRED)
=======
find_package(nlohmann_json REQUIRED)
find_package(SQLite3 REQUIRED)
>>>>>>> cli
find_package(PkgConfig REQUIRED)
pkg_check_modules(ZeroMQ REQUIRED IMPORTED_TARGET libzmq)
pkg_check_modules(GStreamer REQUIRED IMPORTED_TARGET gstreamer-1.0)
find_path(RAPIDXML_INCLUDE_DIR rapidxml/rapidxml.hpp REQUIRED)
