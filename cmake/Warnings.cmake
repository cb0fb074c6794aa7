# panelmfd_warnings(target): the project's warning set, errors when PANELMFD_WERROR is on.
function(panelmfd_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor
                                           -Wcast-align -Woverloaded-virtual)
  if(PANELMFD_SANITIZE AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # Instrumented code defeats GCC's flow analysis: it reports standard
    # library internals (std::function inside std::regex) as uninitialized.
    target_compile_options(${target} PRIVATE -Wno-maybe-uninitialized)
  endif()
  if(PANELMFD_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
endfunction()
