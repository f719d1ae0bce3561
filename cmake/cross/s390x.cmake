# For CMAKE_TOOLCHAIN_FILE: builds for s390x with Debian's cross compiler; script/bootstrap s390x installs it.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR s390x)
set(CMAKE_CXX_COMPILER s390x-linux-gnu-g++)
set(ENV{PKG_CONFIG_LIBDIR} /usr/lib/s390x-linux-gnu/pkgconfig:/usr/share/pkgconfig)
