# Warnings are errors in our own code; a format that is not a literal is one of them, because names
# from the disk reach the log and must never be read as a format.
add_library(corvid_warnings INTERFACE)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  target_compile_options(
    corvid_warnings
    INTERFACE -Wno-format-truncation # bounded printing that cuts is how many operations are defined
              -Wno-restrict) # false alarms in optimised std::string concatenation (GCC bug 105651)
endif()
# What a mutex guards is written beside it; Clang sees that it is held.
if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
  target_compile_options(corvid_warnings INTERFACE -Wthread-safety)
endif()
target_compile_options(
  corvid_warnings
  INTERFACE -Wall
            -Wextra
            -Wpedantic
            -Wshadow
            -Wconversion
            -Wsign-conversion
            -Wold-style-cast
            -Wnon-virtual-dtor
            -Woverloaded-virtual
            -Wformat=2
            -Wformat-nonliteral
            -Werror)
