# panelmfd_warnings(target): the project's warning set, errors when PANELMFD_WERROR is on.
function(panelmfd_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor
                                           -Wcast-align -Woverloaded-virtual)
  if(PANELMFD_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
endfunction()
