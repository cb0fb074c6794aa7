# Installs the build into a scratch prefix, then builds and runs a consumer
# that uses find_package(panelmfd), and reads the pkg-config file.
#   cmake -DBUILD_DIR=... -DSOURCE_DIR=... -DWORK_DIR=... -P check_install.cmake
file(REMOVE_RECURSE ${WORK_DIR})
set(prefix ${WORK_DIR}/prefix)
execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix}
                RESULT_VARIABLE rc OUTPUT_QUIET)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "install failed")
endif()
foreach(path lib/libpanelmfd.so lib/libpanelkit.so lib/liboskit.so lib/libpanelsys.so bin/panelhost
             include/panelmfd/host.h lib/cmake/panelmfd/panelmfdConfig.cmake lib/pkgconfig/panelmfd.pc
             share/panelmfd/examples/tour.panel)
  if(NOT EXISTS ${prefix}/${path})
    message(FATAL_ERROR "not installed: ${path}")
  endif()
endforeach()
execute_process(COMMAND ${CMAKE_COMMAND} -S ${SOURCE_DIR}/tests/install/consumer -B ${WORK_DIR}/consumer
                        -DCMAKE_PREFIX_PATH=${prefix} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE out)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "find_package(panelmfd) failed:\n${out}")
endif()
execute_process(COMMAND ${CMAKE_COMMAND} --build ${WORK_DIR}/consumer RESULT_VARIABLE rc OUTPUT_VARIABLE out
                ERROR_VARIABLE out)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "the consumer does not build:\n${out}")
endif()
execute_process(COMMAND ${WORK_DIR}/consumer/consumer RESULT_VARIABLE rc OUTPUT_VARIABLE out)
if(NOT rc EQUAL 0 OR NOT out MATCHES "IMFDConfiguration present")
  message(FATAL_ERROR "the consumer could not load the installed module: ${out}")
endif()
execute_process(COMMAND pkg-config --libs ${prefix}/lib/pkgconfig/panelmfd.pc RESULT_VARIABLE rc OUTPUT_VARIABLE libs)
if(NOT rc EQUAL 0 OR NOT libs MATCHES "-lpanelsys -loskit -lpanelkit")
  message(FATAL_ERROR "pkg-config file: ${libs}")
endif()
file(REMOVE_RECURSE ${WORK_DIR})
message(STATUS "installed package found, linked and loaded")
