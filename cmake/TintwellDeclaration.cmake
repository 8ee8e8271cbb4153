# Puts the effect's declaration (module/effect/declaration.h) into the module, where hosts look for
# it: a resource of a module for Windows, a section of its own in an ELF one.

set(TINTWELL_EFFECT_DIR ${CMAKE_CURRENT_LIST_DIR}/../module/effect)

function(tintwell_declare target)
    if(WIN32)
        tintwell_declare_as_resource(${target})
    elseif(NOT APPLE)
        target_sources(${target} PRIVATE ${TINTWELL_EFFECT_DIR}/declaration.cpp)
    endif()
endfunction()

# The resource compiler takes the bytes from a file, which a small program writes that runs here,
# also where the module is built for another system.
function(tintwell_declare_as_resource target)
    enable_language(RC)
    set(declaration_file ${CMAKE_CURRENT_BINARY_DIR}/declaration.bin)
    set(writer_source ${TINTWELL_EFFECT_DIR}/write_declaration.cpp)
    if(CMAKE_CROSSCOMPILING)
        find_program(TINTWELL_NATIVE_CXX NAMES c++ g++ clang++ REQUIRED
                     DOC "C++ compiler for programs that run while building")
        set(writer ${CMAKE_CURRENT_BINARY_DIR}/write_declaration)
        add_custom_command(OUTPUT ${writer} VERBATIM
            COMMAND ${TINTWELL_NATIVE_CXX} -std=c++20 -I${TINTWELL_EFFECT_DIR}/../..
                    -MMD -MF ${writer}.d -MT ${writer} ${writer_source} -o ${writer}
            DEPENDS ${writer_source} DEPFILE ${writer}.d)
    else()
        add_executable(write_declaration ${writer_source})
        target_link_libraries(write_declaration PRIVATE tintwell_compiler)
        target_include_directories(write_declaration PRIVATE ${TINTWELL_EFFECT_DIR}/../..)
        set(writer write_declaration)
    endif()
    add_custom_command(OUTPUT ${declaration_file} VERBATIM
        COMMAND ${writer} ${declaration_file} DEPENDS ${writer})
    configure_file(${TINTWELL_EFFECT_DIR}/module.rc.in module.rc @ONLY)
    set(resources ${CMAKE_CURRENT_BINARY_DIR}/module.rc)
    set_source_files_properties(${resources} PROPERTIES OBJECT_DEPENDS ${declaration_file})
    target_sources(${target} PRIVATE ${resources} ${declaration_file})
endfunction()
