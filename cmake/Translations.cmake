# Translations become part of the program: quorvia_translations(TARGET file.ts...).
find_program(LRELEASE lrelease PATHS ${QT6_INSTALL_PREFIX}/lib/qt6/bin NO_DEFAULT_PATH)
find_program(LRELEASE NAMES lrelease-qt6 lrelease6 lrelease)
find_program(LUPDATE lupdate PATHS ${QT6_INSTALL_PREFIX}/lib/qt6/bin NO_DEFAULT_PATH)
find_program(LUPDATE NAMES lupdate-qt6 lupdate6 lupdate)
if(NOT LRELEASE)
  message(FATAL_ERROR "lrelease is missing; the package is named in packaging/packages.txt")
endif()

function(quorvia_translations target)
  foreach(source IN LISTS ARGN)
    cmake_path(GET source STEM name)
    set(made ${CMAKE_CURRENT_BINARY_DIR}/${name}.qm)
    add_custom_command(OUTPUT ${made} COMMAND ${LRELEASE} -silent ${source} -qm ${made}
                       DEPENDS ${source} VERBATIM)
    list(APPEND all ${made})
  endforeach()
  qt_add_resources(${target} "translations" PREFIX "/translations" BASE ${CMAKE_CURRENT_BINARY_DIR} FILES ${all})
endfunction()
