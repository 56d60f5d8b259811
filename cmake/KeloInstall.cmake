# Installation: library, header, CMake package, pkg-config file.
