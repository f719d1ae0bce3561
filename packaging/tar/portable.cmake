# How the program of the .tar.gz is linked; handed to CMake as CMAKE_PROJECT_INCLUDE.
#
# libstdc++ is inside, and kept out of sight of another one that libxml2 may bring. Its random numbers, which nothing
# here uses, would ask for glibc 2.36. libgcc_s stays outside: a static one asks for glibc 2.35, and the shared one is
# wherever glibc is, which loads it itself.
add_link_options(-static-libstdc++ LINKER:--exclude-libs,ALL LINKER:--defsym=arc4random=abort)
