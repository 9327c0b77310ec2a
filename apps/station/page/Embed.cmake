# Makes StaticFiles.cpp: the assembler takes the files into the program as they are.
function(station_embed result)
  set(CONTENTS "")
  set(FILES "")
  set(number 0)
  set(type_html "text/html; charset=utf-8")
  set(type_css "text/css; charset=utf-8")
  set(type_js "text/javascript; charset=utf-8")
  set(type_svg "image/svg+xml")
  foreach(file IN LISTS ARGN)
    cmake_path(GET file FILENAME name)
    cmake_path(GET file EXTENSION LAST_ONLY ending)
    string(SUBSTRING "${ending}" 1 -1 ending)
    set(begin page_file_${number})
    string(APPEND CONTENTS
      "__asm__(\".section .rodata\\n\"\n"
      "        \".hidden ${begin}, ${begin}_end\\n.globl ${begin}, ${begin}_end\\n\"\n"
      "        \"${begin}: .incbin \\\"${file}\\\"\\n${begin}_end: .byte 0\\n.previous\\n\");\n"
      "extern \"C\" const char ${begin}[];\nextern \"C\" const char ${begin}_end[];\n")
    string(APPEND FILES "        {\"/${name}\", \"${type_${ending}}\", ${begin}, ${begin}_end},\n")
    math(EXPR number "${number} + 1")
  endforeach()
  configure_file(page/StaticFiles.cpp.in StaticFiles.cpp @ONLY)
  set_source_files_properties(${CMAKE_CURRENT_BINARY_DIR}/StaticFiles.cpp PROPERTIES OBJECT_DEPENDS "${ARGN}")
  set(${result} ${CMAKE_CURRENT_BINARY_DIR}/StaticFiles.cpp PARENT_SCOPE)
endfunction()
