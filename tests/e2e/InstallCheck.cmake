# Installs the build into a scratch prefix and checks that the program, its desktop entry and its
# icon land in the standard places, and that the installed program runs.
#   cmake -DBUILD_DIR=... -DPREFIX=... -P InstallCheck.cmake
file(REMOVE_RECURSE ${PREFIX})
execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${PREFIX}
                RESULT_VARIABLE status OUTPUT_QUIET)
if(NOT status EQUAL 0)
    message(FATAL_ERROR "cmake --install failed: ${status}")
endif()
foreach(f bin/mavo share/applications/mavo.desktop share/icons/hicolor/scalable/apps/mavo.svg
        share/bash-completion/completions/mavo)
    if(NOT EXISTS ${PREFIX}/${f})
        message(FATAL_ERROR "not installed: ${f}")
    endif()
endforeach()
file(READ ${PREFIX}/share/applications/mavo.desktop entry)
foreach(line "[Desktop Entry]" "Type=Application" "Exec=mavo" "Icon=mavo")
    string(FIND "${entry}" "${line}" at)
    if(at EQUAL -1)
        message(FATAL_ERROR "the desktop entry lacks ${line}")
    endif()
endforeach()
execute_process(COMMAND ${PREFIX}/bin/mavo --version OUTPUT_VARIABLE version RESULT_VARIABLE status)
if(NOT status EQUAL 0 OR NOT version MATCHES "^mavo [0-9]")
    message(FATAL_ERROR "the installed mavo does not run: ${status} ${version}")
endif()
file(REMOVE_RECURSE ${PREFIX})
