# Installs the build into a scratch prefix and checks that the program and everything the desktop
# finds it by land in the standard places, and that the installed program runs.
#   cmake -DBUILD_DIR=... -DPREFIX=... -DPNG_ICONS=ON|OFF -P InstallCheck.cmake
file(REMOVE_RECURSE ${PREFIX})
execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${PREFIX}
                RESULT_VARIABLE status OUTPUT_QUIET)
set(icons share/icons/hicolor)
set(expected bin/mavo share/applications/com.quastorn.mavo.desktop
    share/metainfo/com.quastorn.mavo.metainfo.xml share/man/man1/mavo.1
    share/mavo/help/index.html share/bash-completion/completions/mavo lib/mavo/mavo-http.so
    ${icons}/scalable/apps/com.quastorn.mavo.svg
    ${icons}/symbolic/apps/com.quastorn.mavo-symbolic.svg
    ${icons}/symbolic/apps/com.quastorn.mavo-paused-symbolic.svg)
if(PNG_ICONS)
    foreach(size 16 22 24 32 48 64 128 256)
        list(APPEND expected ${icons}/${size}x${size}/apps/com.quastorn.mavo.png)
    endforeach()
endif()
foreach(f ${expected})
    if(NOT EXISTS ${PREFIX}/${f})
        message(FATAL_ERROR "not installed: ${f} (cmake --install: ${status})")
    endif()
endforeach()
# Panels find an icon's type by sniffing its first 256 bytes: an SVG whose root element starts later
# is "an unrecognized image format" and the tray shows nothing.
file(GLOB_RECURSE svgs ${PREFIX}/${icons}/*.svg)
foreach(svg ${svgs})
    file(READ ${svg} head LIMIT 256)
    string(FIND "${head}" "<svg" at)
    if(at EQUAL -1)
        message(FATAL_ERROR "${svg} does not open its <svg> element within 256 bytes")
    endif()
endforeach()
file(READ ${PREFIX}/share/applications/com.quastorn.mavo.desktop entry)
foreach(line "[Desktop Entry]" "Type=Application" "Exec=mavo\n" "Icon=com.quastorn.mavo\n"
        "Exec=mavo pause" "Exec=mavo resume" "Exec=mavo maximize-all" "Exec=mavo quit")
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
