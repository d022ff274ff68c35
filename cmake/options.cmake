# Compiler options common to all targets.

# No option may change what floating point evaluates to: contraction into fused operations is off,
# and where a fused operation is meant the code says std::fma.
add_compile_options(-ffp-contract=off -fno-fast-math -pthread -Wall -Wextra -Wshadow -Werror)
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    # It takes a lock held by g_autoptr for an unused variable; g++ watches over the others.
    add_compile_options(-Wno-unused-variable)
endif()

if(TARNWATCH_SANITIZE STREQUAL "address")
    add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
    add_link_options(-fsanitize=address,undefined)
elseif(TARNWATCH_SANITIZE STREQUAL "thread")
    add_compile_options(-fsanitize=thread -fno-omit-frame-pointer)
    add_link_options(-fsanitize=thread)
elseif(NOT TARNWATCH_SANITIZE STREQUAL "")
    message(FATAL_ERROR "TARNWATCH_SANITIZE is '${TARNWATCH_SANITIZE}', not empty, address or thread")
endif()

if(TARNWATCH_FUZZ)
    add_compile_options(-fsanitize=fuzzer-no-link,address,undefined -fno-sanitize-recover=all)
    add_link_options(-fsanitize=address,undefined)
endif()

# The libraries stand beside the program in the build tree and below it on a device. A module opened
# at run time is not found by a RUNPATH, hence the older kind of tag.
set(CMAKE_BUILD_RPATH "$ORIGIN/lib;$ORIGIN/../lib")
set(CMAKE_BUILD_RPATH_USE_ORIGIN ON)
add_link_options(-Wl,--disable-new-dtags)
