# A function named main cannot be written in a library in C++: the language reserves the name for
# programs. The effect's entry point is therefore compiled as tintwellEffectMain, and the linker
# publishes it as `main` and hides every other symbol.

set(TINTWELL_EXPORT_DIR ${CMAKE_CURRENT_LIST_DIR})

# TARGET is a MODULE or SHARED library with a function
#   extern "C" <visible> ErrorCode tintwellEffectMain(...)
# whose visibility is "default" where that exists, for a hidden one cannot be published.
function(tintwell_export_main target)
    if(WIN32)
        # The GNU linker and Microsoft's both take the file as a source, and both rename in it.
        target_sources(${target} PRIVATE ${TINTWELL_EXPORT_DIR}/export_main.def)
    elseif(APPLE)
        target_link_options(${target} PRIVATE
            "LINKER:-alias,_tintwellEffectMain,_main" "LINKER:-exported_symbol,_main")
    else()
        set(script ${TINTWELL_EXPORT_DIR}/export_main.map)
        target_link_options(${target} PRIVATE
            "LINKER:--defsym=main=tintwellEffectMain" "LINKER:--version-script=${script}")
        set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${script})
    endif()
endfunction()

# TARGET is a MODULE for hosts that bring libraries of their own, of other versions: it exports what
# is declared so and the linker script EXPORTS (where there are such) names, and has the standard
# library inside.
function(tintwell_keep_to_itself target exports)
    if(NOT WIN32 AND NOT APPLE)
        target_link_options(${target} PRIVATE "LINKER:--version-script=${exports}")
        set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${exports})
    endif()
    # A sanitizer's functions come with the program.
    if(NOT MSVC AND NOT APPLE AND NOT TINTWELL_SANITIZE)
        target_link_options(${target} PRIVATE -static-libstdc++ -static-libgcc)
    endif()
endfunction()
