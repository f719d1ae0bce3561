# Warnings and hardening that every target of this project is built with. -Werror is the developer's choice:
# CMAKE_COMPILE_WARNING_AS_ERROR turns it on, a user's build does not.
include(CheckPIESupported)
check_pie_supported()

set(OBG_SANITIZE "" CACHE STRING "Sanitizers to build everything with, for example address,undefined or thread")

# Functions that a program does not use are left out of it, as each library function that they would call costs every
# start of the program the look-up of a symbol.
add_library(obg_build_flags INTERFACE)
target_compile_options(obg_build_flags INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wconversion
                                                 -fstack-protector-strong -fno-semantic-interposition -ffunction-sections -fdata-sections)
target_link_options(obg_build_flags INTERFACE -Wl,-z,relro,-z,now,--gc-sections)

# Fortified string functions need optimisation, hide calls from the sanitizers, and may come from the packager's flags.
if(NOT OBG_SANITIZE AND NOT CMAKE_CXX_FLAGS MATCHES "_FORTIFY_SOURCE|-O0")
  target_compile_definitions(obg_build_flags INTERFACE $<$<NOT:$<CONFIG:Debug>>:_FORTIFY_SOURCE=2>)
endif()

# For the whole folder, not by target: a part that is left uninstrumented hides errors.
if(OBG_SANITIZE)
  add_compile_options(-fsanitize=${OBG_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${OBG_SANITIZE})
endif()
