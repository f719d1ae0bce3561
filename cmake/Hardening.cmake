# Warnings and hardening that every target of this project is built with. -Werror is the developer's choice:
# CMAKE_COMPILE_WARNING_AS_ERROR turns it on, a user's build does not.
include(CheckPIESupported)
check_pie_supported()

add_library(obg_build_flags INTERFACE)
target_compile_options(obg_build_flags INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wconversion
                                                 -fstack-protector-strong)
target_compile_definitions(obg_build_flags
                           INTERFACE $<$<NOT:$<OR:$<CONFIG:Debug>,$<BOOL:${OBG_SANITIZE}>>>:_FORTIFY_SOURCE=2>)
target_link_options(obg_build_flags INTERFACE -Wl,-z,relro,-z,now)
