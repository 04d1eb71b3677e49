# talmik_add_uir(<name> SOURCE_DIR <dir>)
#
# Builds the panel resource file <name>.uir next to the programs (a binary resource bundle of the
# Designer forms <dir>/*.ui and the images under <dir>/images/) and the header <name>_uir.h of
# its panel, control and menu constants, callback declarations and RegisterUirCallbacks_<name>().
# Link the interface target <name>_uir to include the header; the bundle is built with it.
function(talmik_add_uir name)
  cmake_parse_arguments(ARG "" "SOURCE_DIR" "" ${ARGN})
  if(NOT ARG_SOURCE_DIR)
    message(FATAL_ERROR "talmik_add_uir(${name}) needs SOURCE_DIR")
  endif()
  file(GLOB forms CONFIGURE_DEPENDS ${ARG_SOURCE_DIR}/*.ui)
  file(GLOB_RECURSE images CONFIGURE_DEPENDS ${ARG_SOURCE_DIR}/images/*.png)
  set(gen ${CMAKE_BINARY_DIR}/uir/${name})
  set(header ${gen}/${name}_uir.h)
  set(qrc ${gen}/${name}.qrc)
  set(bundle ${CMAKE_BINARY_DIR}/bin/${name}.uir)
  add_custom_command(OUTPUT ${header} ${qrc}
    COMMAND ${CMAKE_COMMAND} -E make_directory ${gen}
    COMMAND uirgen ${name} ${header} ${qrc} ${ARG_SOURCE_DIR} ${forms} --images ${images}
    DEPENDS uirgen ${forms} ${images}
    COMMENT "Generating the constants of ${name}.uir"
    VERBATIM)
  add_custom_command(OUTPUT ${bundle}
    COMMAND Qt6::rcc --binary --no-compress ${qrc} -o ${bundle}
    DEPENDS ${qrc} ${forms} ${images}
    COMMENT "Building the panel resource file ${name}.uir"
    VERBATIM)
  add_custom_target(${name}_uir_files ALL DEPENDS ${header} ${bundle})
  add_library(${name}_uir INTERFACE)
  target_include_directories(${name}_uir INTERFACE ${gen})
  add_dependencies(${name}_uir ${name}_uir_files)
endfunction()
