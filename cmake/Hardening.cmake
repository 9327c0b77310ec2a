# What makes an error in the code harder to exploit, in every build: libraries and programs are bound when they are loaded and
# their tables made read-only, overrun buffers end the program, and formats that are no constants are errors.
include(CheckPIESupported)
check_pie_supported()  # has programs linked as position-independent ones, too

add_compile_options(-fstack-protector-strong -Wformat -Werror=format-security)
if(NOT TESTMODE_SANITIZE)
  # Needs optimisation; a sanitizer looks closer itself. Undefined first: some compilers define it by themselves.
  add_compile_options("$<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:SHELL:-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2>")
endif()
add_link_options(LINKER:-z,relro LINKER:-z,now)
