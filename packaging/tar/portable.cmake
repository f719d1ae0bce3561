# How the program of the .tar.gz is linked; handed to CMake as CMAKE_PROJECT_INCLUDE.
#
# libstdc++ is inside, and kept out of sight of another one that libxml2 may bring. libgcc_s stays outside: a static one
# asks for glibc 2.35, and the shared one is wherever glibc is, which loads it itself.
add_link_options(-static-libstdc++ LINKER:--exclude-libs,ALL)
set(OBG_PORTABLE_DIR ${CMAKE_CURRENT_LIST_DIR})
cmake_language(DEFER CALL target_sources obg_manifesttool PRIVATE "${OBG_PORTABLE_DIR}/arc4random.cpp")
