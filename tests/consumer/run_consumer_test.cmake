# Installs the build into a scratch prefix, then builds and runs the consumer
# once through find_package(pxkit) and once through pkg-config.
set(prefix ${WORK_DIR}/prefix)
file(REMOVE_RECURSE ${WORK_DIR})
file(MAKE_DIRECTORY ${WORK_DIR})

include(${CMAKE_CURRENT_LIST_DIR}/../run_command.cmake)

run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})

# find_package(pxkit) -> pxkit::pxkit
run(${CMAKE_COMMAND} -S ${SOURCE_DIR} -B ${WORK_DIR}/cmake-build -DCMAKE_PREFIX_PATH=${prefix})
run(${CMAKE_COMMAND} --build ${WORK_DIR}/cmake-build)
run(${WORK_DIR}/cmake-build/consumer)
if(NOT last_output MATCHES "pxkit ${VERSION}")
  message(FATAL_ERROR "find_package consumer printed: ${last_output}")
endif()

# pkg-config --cflags --libs pxkit
file(GLOB pcdirs ${prefix}/lib*/pkgconfig ${prefix}/lib/*/pkgconfig)
string(REPLACE ";" ":" pcpath "${pcdirs}")
set(ENV{PKG_CONFIG_PATH} "${pcpath}")
run(pkg-config --cflags --libs pxkit)
string(STRIP "${last_output}" flags)
separate_arguments(flags UNIX_COMMAND "${flags}")
run(pkg-config --variable=libdir pxkit)
string(STRIP "${last_output}" libdir)
run(cc ${SOURCE_DIR}/main.c -o ${WORK_DIR}/pc-consumer ${flags} -Wl,-rpath,${libdir})
run(${WORK_DIR}/pc-consumer)
if(NOT last_output MATCHES "pxkit ${VERSION}")
  message(FATAL_ERROR "pkg-config consumer printed: ${last_output}")
endif()

# Without an rpath the program finds the library through LD_LIBRARY_PATH.
run(cc ${SOURCE_DIR}/main.c -o ${WORK_DIR}/pc-consumer-plain ${flags})
run(${CMAKE_COMMAND} -E env LD_LIBRARY_PATH=${libdir} ${WORK_DIR}/pc-consumer-plain)

# The example programs, built on their own against the installed package as
# the README shows (CMAKE_PREFIX_PATH; CMake records the library's rpath).
run(${CMAKE_COMMAND} -S ${EXAMPLES_DIR} -B ${WORK_DIR}/examples-build -DCMAKE_PREFIX_PATH=${prefix})
run(${CMAKE_COMMAND} --build ${WORK_DIR}/examples-build)
file(GLOB example_sources ${EXAMPLES_DIR}/*.c)
foreach(source IN LISTS example_sources)
  get_filename_component(example ${source} NAME_WE)
  run(${WORK_DIR}/examples-build/${example})
endforeach()
message(STATUS "installed pxkit consumed through find_package and pkg-config")
