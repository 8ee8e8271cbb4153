# A folder of the project sees the headers of the folders it is linked with, and no others: every
# target offers its headers through a view of its own in the build tree, a link that makes
# "<folder>/<header>" resolve. Including a header of a folder that is not linked does not compile.

# Offers the headers of the current folder (all of it, or only the HEADERS named) to TARGET's users.
function(tintwell_offer_headers target scope)
    cmake_parse_arguments(PARSE_ARGV 2 arg "" "" "HEADERS")
    get_filename_component(folder ${CMAKE_CURRENT_SOURCE_DIR} NAME)
    set(view ${CMAKE_BINARY_DIR}/include/${target})
    if(arg_HEADERS)
        file(MAKE_DIRECTORY ${view}/${folder})
        foreach(header IN LISTS arg_HEADERS)
            file(CREATE_LINK ${CMAKE_CURRENT_SOURCE_DIR}/${header} ${view}/${folder}/${header}
                 SYMBOLIC)
        endforeach()
    else()
        file(MAKE_DIRECTORY ${view})
        file(CREATE_LINK ${CMAKE_CURRENT_SOURCE_DIR} ${view}/${folder} SYMBOLIC)
    endif()
    target_include_directories(${target} ${scope} ${view})
endfunction()

# A folder that is compiled: an object library with the project's compiler settings, whose sources
# see their own folder and the folders of the targets in DEPENDS.
function(tintwell_folder target)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;DEPENDS")
    add_library(${target} OBJECT ${arg_SOURCES})
    set_target_properties(${target} PROPERTIES POSITION_INDEPENDENT_CODE ON)
    tintwell_offer_headers(${target} PUBLIC)
    target_link_libraries(${target} PUBLIC tintwell_compiler ${arg_DEPENDS})
endfunction()
