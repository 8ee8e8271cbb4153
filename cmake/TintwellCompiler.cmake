# How every source of the project is compiled.

option(TINTWELL_WARNINGS_AS_ERRORS "Treat compiler warnings as errors" OFF)
set(TINTWELL_SANITIZE "" CACHE STRING
    "Sanitizers to build with, as -fsanitize= takes them (for example address,undefined)")

if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
    set(CMAKE_BUILD_TYPE Release CACHE STRING "Build type" FORCE)
endif()
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_CXX_EXTENSIONS OFF)

add_library(tintwell_compiler INTERFACE)
target_compile_features(tintwell_compiler INTERFACE cxx_std_20)

if(MSVC)
    target_compile_options(tintwell_compiler INTERFACE /W4 /fp:precise /permissive-)
else()
    # Results are specified to the bit: no contraction of a multiply and an add into one rounding.
    target_compile_options(tintwell_compiler INTERFACE
        -Wall -Wextra -Wpedantic -Wconversion -ffp-contract=off
        -fvisibility=hidden -fvisibility-inlines-hidden)
endif()
if(TINTWELL_WARNINGS_AS_ERRORS)
    target_compile_options(tintwell_compiler INTERFACE $<IF:$<CXX_COMPILER_ID:MSVC>,/WX,-Werror>)
endif()
if(TINTWELL_SANITIZE)
    target_compile_options(tintwell_compiler INTERFACE
        -fsanitize=${TINTWELL_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer
        # GCC sees uninitialised values in the instrumented standard library, and in its own vector
        # functions when it optimises little, where there are none.
        $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized -Wno-uninitialized>)
    target_link_options(tintwell_compiler INTERFACE -fsanitize=${TINTWELL_SANITIZE})
endif()

# For what is mostly expanded templates of the option and JSON libraries: they take minutes to
# optimise, the more so under sanitizers, and nothing of it is run often.
function(tintwell_compile_quickly target)
    if(NOT MSVC)
        set(level -O1)
        if(TINTWELL_SANITIZE)
            set(level -O0)
        endif()
        target_compile_options(${target} PRIVATE $<$<NOT:$<CONFIG:Debug>>:${level}>)
    endif()
endfunction()
