# ccache and mold when the machine has them; sanitizers when a preset asks for them.
find_program(SECC_CCACHE ccache)
if(SECC_CCACHE)
  set(CMAKE_CXX_COMPILER_LAUNCHER ${SECC_CCACHE})
  set(CMAKE_C_COMPILER_LAUNCHER ${SECC_CCACHE})
endif()
find_program(SECC_MOLD mold)
if(SECC_MOLD)
  add_link_options(-fuse-ld=mold)
endif()

# Log lines carry the path below the source root, and builds in different folders give the same bytes.
add_compile_options(-fmacro-prefix-map=${CMAKE_SOURCE_DIR}/=)
# 64-bit file offsets also on 32-bit ARM.
add_compile_definitions(_FILE_OFFSET_BITS=64)

if(SECC_SANITIZER)
  # For tests that measure: the compilers tell in different ways.
  add_compile_definitions(SECC_SANITIZED)
  add_compile_options(-fsanitize=${SECC_SANITIZER} -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${SECC_SANITIZER})
  if(SECC_SANITIZER MATCHES "undefined")
    add_compile_options(-fno-sanitize-recover=undefined)
  endif()
endif()
