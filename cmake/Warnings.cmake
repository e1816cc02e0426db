# The one place for warnings. All of them are errors. Third-party headers are system headers and stay silent.
add_library(secc_warnings INTERFACE)
target_compile_options(
  secc_warnings
  INTERFACE -Wall # the compiler's own idea of what is surely wrong
            -Wextra # and of what is probably wrong
            -Werror # a warning that is tolerated hides the next one
            -Wshadow # a local that hides a member reads as the member
            -Wnon-virtual-dtor # interfaces are deleted through their base
            -Woverloaded-virtual # an override that does not override
            -Wconversion # 32-bit ARM: narrowing loses money and time
            -Wno-sign-conversion # sizes and indexes of the standard library would drown the rest
            -Wold-style-cast # a C cast hides which conversion is meant
            -Wnull-dereference # found by data flow, cheap to keep
            -Wundef # a misspelt macro silently counts as 0
            -Wformat=2) # format strings that are not literals
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  target_compile_options(
    secc_warnings
    INTERFACE -Wduplicated-cond # the same test twice in one if chain
              -Wlogical-op # bitwise where logical was meant
              -Wno-psabi # ARM: a note on an ABI change of gcc 7, nothing to act on
              -Wno-gnu-zero-variadic-macro-arguments)
  if(SECC_SANITIZER)
    # Instrumented code confuses gcc's data flow, which then warns of paths that do not exist.
    target_compile_options(secc_warnings INTERFACE -Wno-null-dereference -Wno-maybe-uninitialized)
  endif()
  if(SECC_SANITIZER MATCHES "thread")
    target_compile_options(secc_warnings INTERFACE -Wno-tsan) # asio uses fences, which gcc's tsan does not model
  endif()
else()
  target_compile_options(
    secc_warnings
    INTERFACE -Wthread-safety # members are annotated with the mutex that guards them
              -Wno-gnu-zero-variadic-macro-arguments)
endif()
