# The framework trees that talmik looks in for soft front panels and the house tools, laid out
# in the build tree so that the run command can point VXIPNPPATH and ZUVXIPATH at them.
set(TALMIK_VXIPNP_DIR ${CMAKE_BINARY_DIR}/vxipnp)
set(TALMIK_ZUVXI_DIR ${CMAKE_BINARY_DIR}/zuvxi)

# talmik_framework_link(<target> <path>)
#
# Puts a relative symbolic link to the program <target> at <path>. The program stays where the
# others are, so that started through the link it still finds ZU-VISA and its files beside it.
function(talmik_framework_link target path)
  get_filename_component(dir ${path} DIRECTORY)
  file(RELATIVE_PATH up ${dir} ${CMAKE_RUNTIME_OUTPUT_DIRECTORY})
  add_custom_command(OUTPUT ${path}
    COMMAND ${CMAKE_COMMAND} -E make_directory ${dir}
    COMMAND ${CMAKE_COMMAND} -E rm -f ${path}
    COMMAND ${CMAKE_COMMAND} -E create_symlink ${up}/$<TARGET_FILE_NAME:${target}> ${path}
    DEPENDS ${target}
    COMMENT "Linking ${path} to ${target}"
    VERBATIM)
  get_filename_component(name ${path} NAME)
  add_custom_target(${target}_framework_${name} ALL DEPENDS ${path})
endfunction()
