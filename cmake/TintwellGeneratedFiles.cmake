# Manual pages and shell completions: the program writes them itself, from the definitions of its
# commands and options. Not where it could not run while building.

function(tintwell_install_generated_files program)
    if(CMAKE_CROSSCOMPILING OR TINTWELL_SANITIZE)
        return()
    endif()
    find_program(TINTWELL_GZIP gzip REQUIRED DOC "Packs the manual pages")

    set(completions ${CMAKE_BINARY_DIR}/completions)
    file(MAKE_DIRECTORY ${completions})
    set(files)
    foreach(shell_file bash:tintwell zsh:_tintwell fish:tintwell.fish)
        string(REPLACE ":" ";" shell_file ${shell_file})
        list(POP_FRONT shell_file shell)
        add_custom_command(OUTPUT ${completions}/${shell_file} VERBATIM
            COMMAND ${program} completion ${shell} > ${completions}/${shell_file}
            DEPENDS ${program} COMMENT "Writing the completion for ${shell}")
        list(APPEND files ${completions}/${shell_file})
    endforeach()

    # Only the program knows which pages there are.
    set(pages ${CMAKE_BINARY_DIR}/man1)
    add_custom_command(OUTPUT ${pages}.written VERBATIM
        COMMAND ${CMAKE_COMMAND} -E rm -rf ${pages}
        COMMAND ${CMAKE_COMMAND} -E make_directory ${pages}
        COMMAND ${program} manual --all ${pages} > ${pages}.written
        COMMAND ${TINTWELL_GZIP} --best --no-name --recursive ${pages}
        DEPENDS ${program} COMMENT "Writing the manual pages")
    add_custom_target(generated_files ALL DEPENDS ${files} ${pages}.written)

    install(FILES ${completions}/tintwell
            DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
    install(FILES ${completions}/_tintwell DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/site-functions)
    install(FILES ${completions}/tintwell.fish
            DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d)
    install(DIRECTORY ${pages}/ DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
endfunction()
