# A folder of the project sees the headers of the folders it is linked with, and no others: every
# target offers its headers through a view of its own in the build tree, in which each stands under
# its path from the root of the project. Including a header of a folder that is not linked does not
# compile. What the targets may include is written to house.json in the build tree; scripts/house
# reads it.

# Offers the headers of the current folder (all of it, or only the HEADERS named) to TARGET's users.
function(tintwell_offer_headers target scope)
    cmake_parse_arguments(PARSE_ARGV 2 arg "" "" "HEADERS")
    file(RELATIVE_PATH folder ${PROJECT_SOURCE_DIR} ${CMAKE_CURRENT_SOURCE_DIR})
    if(NOT arg_HEADERS)
        file(GLOB arg_HEADERS CONFIGURE_DEPENDS RELATIVE ${CMAKE_CURRENT_SOURCE_DIR} *.h)
    endif()
    set(view ${CMAKE_BINARY_DIR}/include/${target})
    file(REMOVE_RECURSE ${view})
    file(MAKE_DIRECTORY ${view}/${folder})
    foreach(header IN LISTS arg_HEADERS)
        file(CREATE_LINK ${CMAKE_CURRENT_SOURCE_DIR}/${header} ${view}/${folder}/${header} SYMBOLIC)
    endforeach()
    target_include_directories(${target} ${scope} ${view})

    set_property(GLOBAL APPEND PROPERTY TINTWELL_FOLDER_TARGETS ${target})
    set_target_properties(${target} PROPERTIES
        TINTWELL_FOLDER "${folder}" TINTWELL_HEADERS "${arg_HEADERS}")
endfunction()

# A folder of headers alone.
function(tintwell_header_folder target)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "HEADERS;DEPENDS")
    add_library(${target} INTERFACE)
    tintwell_offer_headers(${target} INTERFACE HEADERS ${arg_HEADERS})
    target_link_libraries(${target} INTERFACE ${arg_DEPENDS})
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

# Several FOLDERS as one library, for those who link a whole product.
function(tintwell_product target)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "FOLDERS")
    set(objects)
    foreach(folder IN LISTS arg_FOLDERS)
        list(APPEND objects $<TARGET_OBJECTS:${folder}>)
    endforeach()
    add_library(${target} STATIC ${objects})
    target_link_libraries(${target} PUBLIC ${arg_FOLDERS})
endfunction()

# VALUES as a JSON array of strings.
function(tintwell_json_array result)
    set(array "[]")
    set(index 0)
    foreach(value IN LISTS ARGN)
        string(JSON array SET "${array}" ${index} "\"${value}\"")
        math(EXPR index "${index} + 1")
    endforeach()
    set(${result} "${array}" PARENT_SCOPE)
endfunction()

# Writes the targets of folders, and what each of them links itself, as the build has them.
function(tintwell_write_house)
    get_property(targets GLOBAL PROPERTY TINTWELL_FOLDER_TARGETS)
    set(house "{}")
    foreach(target IN LISTS targets)
        get_target_property(type ${target} TYPE)
        set(property LINK_LIBRARIES)
        if(type STREQUAL INTERFACE_LIBRARY)
            set(property INTERFACE_LINK_LIBRARIES)
        endif()
        get_target_property(links ${target} ${property})
        if(NOT links)
            set(links)
        endif()
        get_target_property(folder ${target} TINTWELL_FOLDER)
        get_target_property(headers ${target} TINTWELL_HEADERS)
        tintwell_json_array(links ${links})
        tintwell_json_array(headers ${headers})
        string(JSON house SET "${house}" ${target} "{}")
        string(JSON house SET "${house}" ${target} folder "\"${folder}\"")
        string(JSON house SET "${house}" ${target} headers "${headers}")
        string(JSON house SET "${house}" ${target} links "${links}")
    endforeach()
    file(CONFIGURE OUTPUT ${CMAKE_BINARY_DIR}/house.json CONTENT "${house}\n" @ONLY)
endfunction()

# When all folders are known.
cmake_language(DEFER DIRECTORY ${PROJECT_SOURCE_DIR} CALL tintwell_write_house)
