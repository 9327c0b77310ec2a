# Hardening of every build against exploits: libraries and programs bind all symbols when they are loaded, and their tables are
# then read-only. A buffer overrun ends the program. A format that is no constant is an error.
include(CheckPIESupported)
check_pie_supported()  # links programs as position-independent ones, too

add_compile_options(-fstack-protector-strong -Wformat -Werror=format-security)
if(NOT TESTMODE_SANITIZE)
  # It needs optimisation, and a sanitizer checks more. Some compilers define it already, so it is undefined first.
  add_compile_options("$<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:SHELL:-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2>")
endif()
add_link_options(LINKER:-z,relro LINKER:-z,now)
