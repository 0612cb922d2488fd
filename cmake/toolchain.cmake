# Compiler settings that hold for every target: warnings are errors, container checks stay on in every build,
# x86-64-v2 is the baseline (hot loops add their own clones), the fast linker and the compiler cache are used
# where they are installed.
add_library(quillmark_flags INTERFACE)
target_compile_options(quillmark_flags INTERFACE -Wall -Wextra -Wshadow -Wno-unused-parameter -Werror)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  target_compile_options(quillmark_flags INTERFACE -Wno-restrict)  # false alarms on joined strings at -O3
endif()
target_compile_definitions(quillmark_flags INTERFACE _GLIBCXX_ASSERTIONS QUILLMARK_VERSION="${PROJECT_VERSION}")
target_include_directories(quillmark_flags INTERFACE ${CMAKE_SOURCE_DIR}/src)

if(CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|AMD64")
  target_compile_options(quillmark_flags INTERFACE -march=x86-64-v2)
endif()

if(QUILLMARK_SANITIZE)
  target_compile_options(quillmark_flags INTERFACE -fsanitize=${QUILLMARK_SANITIZE} -fno-omit-frame-pointer
                                                   -fno-sanitize-recover=all)
  target_link_options(quillmark_flags INTERFACE -fsanitize=${QUILLMARK_SANITIZE})
endif()

find_program(QUILLMARK_CCACHE ccache)
if(QUILLMARK_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_CXX_COMPILER_LAUNCHER ${QUILLMARK_CCACHE})
  set(CMAKE_C_COMPILER_LAUNCHER ${QUILLMARK_CCACHE})
endif()
find_program(QUILLMARK_MOLD mold)
if(QUILLMARK_MOLD)
  add_link_options(-fuse-ld=mold)
endif()
