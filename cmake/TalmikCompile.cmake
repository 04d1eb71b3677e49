# Compiler settings shared by every target of the project.

if(TALMIK_SANITIZE)
  add_compile_options(-fsanitize=${TALMIK_SANITIZE} -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${TALMIK_SANITIZE})
  if(TALMIK_SANITIZE MATCHES "undefined")
    add_compile_options(-fno-sanitize-recover=undefined)
  endif()
endif()

# With fuzz targets, every library is instrumented for coverage and checked by the sanitizers.
if(TALMIK_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link,address,undefined)
  add_link_options(-fsanitize=address,undefined)
endif()

# Our own code builds without warnings; third-party headers are included as SYSTEM.
function(talmik_strict_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Werror)
endfunction()
